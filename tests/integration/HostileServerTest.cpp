// The clients of the server's API against a server that does what no server should.
#include "tests/integration/RealSession.h"
#include "tests/support/loopback/LoopbackServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using ostra::AccountStatus;
using test_support::LoopbackServer;
using Misbehaviour = LoopbackServer::Misbehaviour;
using Reply = LoopbackServer::Reply;

class HostileServerTest : public testing::Test, public test_support::RealSession {
  protected:
    static ostra::Url baseOf(const LoopbackServer& server) { return ostra::Url(server.url()); }
};

TEST_F(HostileServerTest, costsTheAnswerAndNothingElse) {
    for (const auto how :
         {Misbehaviour::closeWithoutReading, Misbehaviour::closeBeforeAnswering,
          Misbehaviour::resetBeforeAnswering, Misbehaviour::resetMidBody,
          Misbehaviour::closeMidBody, Misbehaviour::endlessBody, Misbehaviour::endlessChunks,
          Misbehaviour::endlessHeader, Misbehaviour::hugeContentLength,
          Misbehaviour::endlessRedirectBody, Misbehaviour::redirectLoop, Misbehaviour::brokenChunk,
          Misbehaviour::unfinishedChunks, Misbehaviour::compressionBomb, Misbehaviour::garbage}) {
        const LoopbackServer server(how);
        EXPECT_EQ(wait(startStatus(baseOf(server))), std::nullopt) << static_cast<int>(how);
        EXPECT_EQ(wait(startLink(baseOf(server))), std::nullopt) << static_cast<int>(how);
        EXPECT_EQ(wait(startSummary(baseOf(server))), std::nullopt) << static_cast<int>(how);
    }
}

TEST_F(HostileServerTest, mayBeNoServerAtAll) {
    ostra::Url base;
    {
        const LoopbackServer gone;
        base = baseOf(gone);
    }
    EXPECT_EQ(wait(startStatus(base)), std::nullopt);
    EXPECT_EQ(wait(startLink(base)), std::nullopt);
    EXPECT_EQ(wait(startSummary(base)), std::nullopt);
}

TEST_F(HostileServerTest, cannotHoldUpASummaryForMoreThanTwoSeconds) {
    const LoopbackServer silent(Misbehaviour::neverAnswer);
    const LoopbackServer body(Misbehaviour::dripBody);
    const LoopbackServer header(Misbehaviour::dripHeader);
    const auto before = std::chrono::steady_clock::now();
    std::vector<Answer<ostra::LibrarySummary>> answers;
    for (const LoopbackServer* const server : {&silent, &body, &header}) {
        answers.push_back(startSummary(baseOf(*server)));
    }
    for (auto& answer : answers) {
        EXPECT_EQ(wait(std::move(answer)), std::nullopt);
    }
    const auto took = std::chrono::steady_clock::now() - before;
    EXPECT_GE(took, 1990ms);
    EXPECT_LT(took, 20s);
}

TEST_F(HostileServerTest, isNotWaitedForWhenTheSessionEnds) {
    const LoopbackServer silent(Misbehaviour::neverAnswer);
    auto status = startStatus(baseOf(silent));
    auto start = startLink(baseOf(silent));
    auto summary = startSummary(baseOf(silent));
    ASSERT_TRUE(silent.waitForRequests(3));
    http.reset();
    EXPECT_EQ(wait(std::move(status)), std::nullopt);
    EXPECT_EQ(wait(std::move(start)), std::nullopt);
    EXPECT_EQ(wait(std::move(summary)), std::nullopt);
}

TEST_F(HostileServerTest, isNotReadForTenMegabytes) {
    LoopbackServer server([](const LoopbackServer::Request& request) {
        const std::string filler(std::size_t{10} << 20, 'x');
        return request.target.contains("account")
                   ? Reply{.body = R"({"linked":true,"x":")" + filler + "\"}"}
                   : Reply{.body = R"(["name":")" + filler + "\"]"};
    });
    EXPECT_EQ(wait(startStatus(baseOf(server))), std::nullopt);
    EXPECT_EQ(wait(startSummary(baseOf(server))), std::nullopt);
}

TEST_F(HostileServerTest, isBelievedAboutTheAccountWhateverItsStatusCode) {
    LoopbackServer server(
        [](const auto&) { return Reply{.status = 500, .body = R"({"linked":false})"}; });
    EXPECT_EQ(wait(startStatus(baseOf(server))), AccountStatus{});
}

TEST_F(HostileServerTest, costsOnlyTheNumbersThatItRefuses) {
    LoopbackServer server([](const LoopbackServer::Request& request) {
        if (request.target == "/api/modes") {
            return Reply{.body = R"([{"id":"a","name":"A","entityTypes":[
                {"id":"a.track","name":"x"},{"id":"a.movie","name":"x"},{"id":"a.book","name":"x"}]},
                {"id":"b","name":"B","entityTypes":[{"id":"b.game","name":"Game"}]}])"};
        }
        if (request.target == "/api/libraries") {
            return Reply{.body = std::string(std::size_t{10} << 20, '[')};
        }
        if (request.target.contains("a.movie")) {
            return Reply{.headers = {{"X-Total-Count", "7"}},
                         .body = std::string(std::size_t{10} << 20, 'x')};
        }
        if (request.target.contains("a.book")) {
            return Reply{.headers = {{"x-total-COUNT", " 5 "}}, .body = "[]"};
        }
        return Reply{.status = 503, .headers = {{"X-Total-Count", "9"}}};
    });

    const auto summary = wait(startSummary(baseOf(server)));

    ASSERT_TRUE(summary);
    ASSERT_EQ(summary->modes.size(), 2U);
    EXPECT_EQ(summary->modes[0].itemCount, 5);
    EXPECT_EQ(summary->modes[1].itemCount, std::nullopt);
    EXPECT_EQ(summary->modes[1].singularItemName, "game");
    EXPECT_FALSE(summary->hasConfiguredLibraries());
}

TEST_F(HostileServerTest, isAskedForEveryTotalAtTheSameTime) {
    std::string types;
    for (int i = 0; i < 64; ++i) {
        types += R"(,{"id":"t)" + std::to_string(i) + R"(.track","name":"x"})";
    }
    std::atomic<int> together = 0;
    LoopbackServer server;
    server.setHandler([&](const LoopbackServer::Request& request) {
        if (request.target == "/api/modes") {
            return Reply{.body = R"([{"id":"music","name":"M","entityTypes":[)" + types.substr(1) +
                                 "]}]"};
        }
        if (request.target == "/api/libraries") {
            return Reply{.body = "[]"};
        }
        together += server.waitForRequests(66) ? 1 : 0; // no answer before all have asked
        return Reply{.headers = {{"X-Total-Count", "1"}}, .body = "[]"};
    });

    const auto summary = wait(startSummary(baseOf(server)));

    ASSERT_TRUE(summary);
    EXPECT_EQ(summary->totalItems(), 64);
    EXPECT_EQ(together, 64);
}

} // namespace
