// The curl back end over TLS: whom it trusts, where it lets itself be sent, and bodies that are
// taken piece by piece.
#include "platform/posix/CurlHttpClient.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/support/loopback/LoopbackServer.h"
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/support/tls/TlsFront.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

namespace {

using platform::HttpError;
using platform::HttpRequest;
using platform::HttpResult;
using test_support::LoopbackServer;
using ::testing::IsEmpty;

class CurlTls : public testing::Test {
  protected:
    void SetUp() override { writeText(folder / "authority.pem", certificate.certificate); }

    HttpRequest get(const std::string& url) const {
        HttpRequest request;
        request.url = url;
        request.timeout = std::chrono::seconds(20);
        request.onlyHttps = true;
        request.maxRedirects = 3;
        return request;
    }
    HttpResult fetch(HttpRequest request) { return fetchWith(client(), std::move(request)); }
    static HttpResult fetchWith(platform::HttpClient& client, HttpRequest request) {
        std::promise<HttpResult> promise;
        client.send(std::move(request),
                    [&promise](HttpResult result) { promise.set_value(std::move(result)); });
        return promise.get_future().get();
    }
    platform::CurlHttpClient& client() {
        if (!client_) {
            client_ = std::make_unique<platform::CurlHttpClient>(
                platform::CurlHttpOptions{.authorities = folder / "authority.pem"});
        }
        return *client_;
    }
    HttpError::Kind failureOf(HttpRequest request) {
        const auto result = fetch(std::move(request));
        EXPECT_FALSE(result);
        return result ? HttpError::Kind::badRequest : result.error().kind;
    }

    test_support::TemporaryFolder folder;
    test_support::Certificate certificate = test_support::makeCertificate();
    LoopbackServer server{[](const LoopbackServer::Request& request) {
        return LoopbackServer::Reply{.body = "you asked for " + request.target};
    }};
    test_support::TlsFront front{server.port(), certificate};

  private:
    std::unique_ptr<platform::CurlHttpClient> client_;
};

TEST_F(CurlTls, talksToAServerWhoseAuthorityItWasGiven) {
    const auto result = fetch(get(front.url("/feed")));
    ASSERT_TRUE(result) << result.error().message;
    EXPECT_EQ(result->body, "you asked for /feed");
}

TEST_F(CurlTls, refusesAServerThatNobodyVouchesFor) {
    platform::CurlHttpClient trusting;
    const auto result = fetchWith(trusting, get(front.url("/feed")));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, HttpError::Kind::cannotConnect);
    EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(CurlTls, sendsNothingOverPlainHttpWhenOnlyHttpsIsAllowed) {
    EXPECT_EQ(failureOf(get(server.url("/feed"))), HttpError::Kind::badRequest);
    EXPECT_EQ(server.connectionCount(), 0U);
}

TEST_F(CurlTls, followsARedirectThatStaysWithinHttps) {
    server.setHandler([this](const LoopbackServer::Request& request) {
        return request.target == "/old"
                   ? LoopbackServer::Reply{.status = 302,
                                           .headers = {{"Location", front.url("/new")}}}
                   : LoopbackServer::Reply{.body = request.target};
    });
    const auto result = fetch(get(front.url("/old")));
    ASSERT_TRUE(result) << result.error().message;
    EXPECT_EQ(result->body, "/new");
}

TEST_F(CurlTls, refusesARedirectThatLeavesHttps) {
    server.setHandler([this](const LoopbackServer::Request&) {
        return LoopbackServer::Reply{.status = 302,
                                     .headers = {{"Location", server.url("/plain")}}};
    });
    EXPECT_EQ(failureOf(get(front.url("/old"))), HttpError::Kind::protocol);
    ASSERT_EQ(server.requests().size(), 1U);

    auto lenient = get(front.url("/old"));
    lenient.onlyHttps = false;
    lenient.maxRedirects = 1;
    EXPECT_FALSE(fetch(lenient)); // it went there, and was sent on once too often
    EXPECT_EQ(server.requests().size(), 3U);
}

TEST_F(CurlTls, handsASinkTheWholeBodyInPiecesAndKeepsNothingOfIt) {
    const std::string body(3'000'000, 'x');
    server.setHandler(
        [&body](const LoopbackServer::Request&) { return LoopbackServer::Reply{.body = body}; });
    std::size_t received = 0;
    std::size_t largest = 0;
    auto request = get(front.url());
    request.maxBodyBytes = body.size();
    request.bodySink = [&](std::string_view piece) {
        received += piece.size();
        largest = std::max(largest, piece.size());
        return true;
    };
    const auto result = fetch(request);
    ASSERT_TRUE(result) << result.error().message;
    EXPECT_EQ(received, body.size());
    EXPECT_LT(largest, 100'000U);
    EXPECT_EQ(result->body, "");
}

TEST_F(CurlTls, keepsTheBodyOfAFailureOutOfTheSink) {
    server.setHandler([](const LoopbackServer::Request&) {
        return LoopbackServer::Reply{.status = 404, .body = "gone"};
    });
    auto request = get(front.url());
    bool used = false;
    request.bodySink = [&used](std::string_view) { return used = true; };
    const auto result = fetch(request);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->body, "gone");
    EXPECT_FALSE(used);
}

TEST_F(CurlTls, endsWhenTheSinkWantsNoMore) {
    auto request = get(front.url());
    request.bodySink = [](std::string_view) { return false; };
    EXPECT_EQ(failureOf(request), HttpError::Kind::cancelled);
}

TEST_F(CurlTls, boundsWhatASinkReceives) {
    server.setMisbehaviour(LoopbackServer::Misbehaviour::endlessChunks);
    std::size_t received = 0;
    auto request = get(front.url());
    request.maxBodyBytes = 100'000;
    request.bodySink = [&received](std::string_view piece) {
        received += piece.size();
        return true;
    };
    EXPECT_EQ(failureOf(request), HttpError::Kind::bodyTooLarge);
    EXPECT_LE(received, 100'000U);
}

TEST_F(CurlTls, givesUpOnAServerThatFallsSilent) {
    server.setMisbehaviour(LoopbackServer::Misbehaviour::neverAnswer);
    auto request = get(front.url());
    request.timeout = std::chrono::minutes(10);
    request.stallTimeout = std::chrono::seconds(1);
    EXPECT_EQ(failureOf(request), HttpError::Kind::timedOut);
}

} // namespace
