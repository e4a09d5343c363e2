// The device link's transport and flow over real HTTP: a service that misbehaves, one behind a
// certificate that nobody vouches for, and the one in the box.
#include "mac/Tessel/Link/DeviceLink.h"
#include "mac/Tessel/Link/HTTPDeviceLinkTransport.h"
#include "platform/posix/CurlHttpClient.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixPrivateFiles.h"
#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/FakeHost.h"
#include "tests/ostrad/OstradFixture.h"
#include "tests/support/fasttime/FastTime.h"
#include "tests/support/loopback/LoopbackServer.h"
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/support/tls/TlsFront.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <variant>
#include <vector>

namespace {

using namespace std::chrono_literals;
using tessel::Credentials;
using tessel::DeviceLink;
using tessel::DeviceLinkFailure;
using tessel::HTTPDeviceLinkTransport;
using tessel::StateStore;
using tessel::Url;
using test_support::LoopbackServer;
using Misbehaviour = LoopbackServer::Misbehaviour;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class AccountServiceTest : public testing::Test {
  protected:
    HTTPDeviceLinkTransport transportTo(const std::string& origin) {
        return {Url(origin), std::nullopt, http, limits};
    }
    std::string pollFailure(const std::string& origin) {
        const auto reply = transportTo(origin).pollLink("poll-secret");
        return reply ? "success" : reply.error().description();
    }

    platform::CurlHttpClient http;
    HTTPDeviceLinkTransport::Limits limits{.withoutProgress = 300ms, .inAll = 2s};
};

TEST_F(AccountServiceTest, sendsAndReadsJson) {
    LoopbackServer service([](const LoopbackServer::Request& request) {
        return LoopbackServer::Reply{
            .body = request.target == "/api/link/poll" && request.method == "POST" &&
                            request.header("Content-Type") == "application/json" &&
                            !request.header("User-Agent") && !request.header("Cookie") &&
                            request.body == R"({"pollToken":"poll-secret"})"
                        ? R"({"status":"approved","token":"t"})"
                        : R"({"status":"wrong request"})"};
    });
    const auto reply = transportTo(service.url("")).pollLink("poll-secret");
    ASSERT_TRUE(reply) << reply.error().description();
    EXPECT_EQ(reply->status, "approved");
    EXPECT_EQ(reply->token, "t");
}

TEST_F(AccountServiceTest, isANetworkFailureWhateverTheServiceBreaks) {
    for (const auto how :
         {Misbehaviour::neverAnswer, Misbehaviour::closeWithoutReading,
          Misbehaviour::closeBeforeAnswering, Misbehaviour::resetBeforeAnswering,
          Misbehaviour::resetMidBody, Misbehaviour::closeMidBody, Misbehaviour::dripBody,
          Misbehaviour::dripHeader, Misbehaviour::endlessBody, Misbehaviour::endlessChunks,
          Misbehaviour::endlessHeader, Misbehaviour::endlessInterimResponses,
          Misbehaviour::hugeContentLength, Misbehaviour::garbage}) {
        LoopbackServer service(how);
        const auto before = std::chrono::steady_clock::now();
        EXPECT_THAT(pollFailure(service.url("")), StartsWith("network: ")) << static_cast<int>(how);
        EXPECT_LT(std::chrono::steady_clock::now() - before, 20s) << static_cast<int>(how);
    }
}

TEST_F(AccountServiceTest, doesNotTakeTenMegabytes) {
    LoopbackServer service([](const auto&) {
        return LoopbackServer::Reply{.body =
                                         R"({"status":")" + std::string(10'000'000, 'x') + "\"}"};
    });
    EXPECT_THAT(pollFailure(service.url("")), StartsWith("network: "));
}

TEST_F(AccountServiceTest, namesTheServicesErrorOrItsStatus) {
    LoopbackServer service([](const LoopbackServer::Request& request) {
        return request.target == "/api/link/poll"
                   ? LoopbackServer::Reply{.status = 404,
                                           .body = R"({"error":"unknown poll token"})"}
                   : LoopbackServer::Reply{.status = 500, .body = "<html>Oops</html>"};
    });
    EXPECT_EQ(pollFailure(service.url("")), "HTTP 404: unknown poll token");
    EXPECT_EQ(transportTo(service.url("")).startLink("device").error(),
              DeviceLinkFailure::http(500, "status 500"));
}

TEST_F(AccountServiceTest, neverSendsThePollTokenToAnotherPlace) {
    LoopbackServer elsewhere;
    for (const int status : {301, 302, 303, 307, 308}) {
        LoopbackServer service([&](const auto&) {
            return LoopbackServer::Reply{.status = status,
                                         .headers = {{"Location", elsewhere.url("/steal")}}};
        });
        EXPECT_EQ(pollFailure(service.url("")),
                  "HTTP " + std::to_string(status) + ": status " + std::to_string(status));
        EXPECT_EQ(service.requests().size(), 1U);
    }
    EXPECT_EQ(elsewhere.connectionCount(), 0U);
}

TEST_F(AccountServiceTest, cannotBeReachedWhereNobodyListens) {
    std::string origin;
    {
        const LoopbackServer gone;
        origin = gone.url("");
    }
    EXPECT_THAT(pollFailure(origin), StartsWith("network: "));
    EXPECT_THAT(pollFailure("ftp://127.0.0.1"), StartsWith("network: "));
    EXPECT_THAT(pollFailure("//127.0.0.1"), StartsWith("network: "));
}

TEST_F(AccountServiceTest, needsACertificateThatSomebodyVouchesFor) {
    LoopbackServer service;
    const auto certificate = test_support::makeCertificate();
    const test_support::TlsFront front(service.port(), certificate);
    EXPECT_THAT(pollFailure(front.url("")), StartsWith("network: "));
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(AccountServiceTest, keepsThePollTokenOutOfEveryFailure) {
    for (const auto how : {Misbehaviour::none, Misbehaviour::neverAnswer, Misbehaviour::garbage,
                           Misbehaviour::closeMidBody, Misbehaviour::redirectLoop}) {
        LoopbackServer service(how);
        EXPECT_THAT(pollFailure(service.url("")), Not(HasSubstr("secret")));
    }
}

TEST_F(AccountServiceTest, endsWhenItsHttpClientDoes) {
    LoopbackServer service(Misbehaviour::neverAnswer);
    auto client = std::make_unique<platform::CurlHttpClient>();
    HTTPDeviceLinkTransport transport(Url(service.url("")), std::nullopt, *client);
    std::string failure;
    std::thread caller([&] { failure = transport.pollLink("poll-secret").error().description(); });
    EXPECT_TRUE(service.waitForRequests(1));
    client.reset();
    caller.join();
    EXPECT_THAT(failure, StartsWith("network: "));
}

// The whole flow, ten times as fast as the product's own seconds.
class LinkWithOstrad : public ostrad::test::OstradTest {
  protected:
    LinkWithOstrad() {
        link->onChange = [this] {
            if (const auto* failed = std::get_if<DeviceLink::Failed>(&link->state())) {
                failure = failed->message;
            }
        };
        link->onLinked = [this](const Credentials& credentials) { linked.push_back(credentials); };
        link->onActivity = [this](const std::string& line) { activity.push_back(line); };
    }
    [[nodiscard]] Url origin() const { return Url("http://127.0.0.1:" + std::to_string(port)); }
    // The user decides on the page.
    void decide(const std::string& action) {
        link->begin(origin());
        ASSERT_TRUE(time.runUntil([this] { return !workspace.opened.empty(); }));
        const auto& waiting = std::get<DeviceLink::Waiting>(link->state());
        EXPECT_EQ(workspace.opened.at(0),
                  std::string(origin().buffer()) + "/link?code=" + waiting.code);
        EXPECT_EQ(ostrad::test::postJson(port, "/api/account/link/" + action,
                                         R"({"code":")" + waiting.code + "\"}")
                      .status,
                  200);
    }

    test_support::TemporaryFolder folder;
    test_support::FastTime time{10};
    platform::CurlHttpClient http;
    platform::PosixFileSystem files{folder / "support"};
    platform::PosixPrivateFiles privateFiles;
    platform::testing::FakeHost host;
    platform::testing::Events events;
    platform::testing::FakeWorkspace workspace{events};
    std::shared_ptr<StateStore> store = std::make_shared<StateStore>(
        StateStore::Facilities{
            .fileSystem = files, .privateFiles = privateFiles, .host = host, .clock = time.clock()},
        "Zorvane", platform::Environment{});
    std::shared_ptr<DeviceLink> link =
        DeviceLink::create({.mainQueue = time.mainQueue(),
                            .backgroundQueues = time.backgroundQueues(),
                            .clock = time.clock(),
                            .host = host,
                            .http = http,
                            .workspace = workspace},
                           store, "Zorvane");
    std::string failure;
    std::vector<Credentials> linked;
    std::vector<std::string> activity;
};

TEST_F(LinkWithOstrad, endsWithSavedCredentialsOnceTheUserApproved) {
    decide("approve");
    ASSERT_TRUE(time.runUntil([this] { return !linked.empty(); }));
    EXPECT_EQ(linked[0].tokenName, "Zorvane on Studio");
    EXPECT_EQ(linked[0].serverOrigin, std::string(origin().buffer()));
    EXPECT_FALSE(linked[0].token.empty());
    EXPECT_EQ(activity.back(), "Linked as Zorvane on Studio");
    const auto saved = store->loadCredentials();
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->token, linked[0].token);
    struct stat status{};
    ASSERT_EQ(::lstat(store->credentialsURL().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    for (const auto& line : activity) {
        EXPECT_THAT(line, Not(HasSubstr(linked[0].token)));
    }
}

TEST_F(LinkWithOstrad, failsOnceTheUserDenied) {
    decide("deny");
    ASSERT_TRUE(time.runUntil([this] { return !failure.empty(); }));
    EXPECT_EQ(failure, "The link expired before it was approved. Try again.");
    EXPECT_EQ(store->loadCredentials(), std::nullopt);
}

TEST_F(LinkWithOstrad, saysNothingMoreAfterACancel) {
    decide("approve");
    link->cancel();
    EXPECT_FALSE(link->isLinking());
    link->begin(origin());
    ASSERT_TRUE(time.runUntil([this] { return workspace.opened.size() == 2; }));
    EXPECT_TRUE(linked.empty());
}

} // namespace
