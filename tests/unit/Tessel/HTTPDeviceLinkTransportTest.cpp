#include "mac/Tessel/Link/HTTPDeviceLinkTransport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using platform::HttpError;
using platform::HttpResponse;
using platform::HttpResult;
using tessel::DeviceLinkFailure;
using tessel::DeviceLinkPollResponse;
using tessel::DeviceLinkStartResponse;
using tessel::HTTPDeviceLinkTransport;
using tessel::linkServiceUrl;
using tessel::Url;
using testing::ElementsAre;
using testing::Pair;

// Answers inside send(), as a caller that blocks needs it.
class InstantHttpClient final : public platform::HttpClient {
  public:
    void send(platform::HttpRequest request, std::function<void(HttpResult)> completion) override {
        requests.push_back(std::move(request));
        completion(answer);
    }

    HttpResult answer = HttpResponse{.status = 200, .headers = {}, .body = {}};
    std::vector<platform::HttpRequest> requests;
};

constexpr auto goodStart =
    R"({"code":"AB-CD","pollToken":"p","verifyUrl":"https://a.example/link",)"
    R"("expiresAt":"2025-01-31T09:12:44Z","interval":2.5})";

class HTTPDeviceLinkTransportTest : public testing::Test {
  protected:
    void answer(int status, std::string body) {
        http.answer = HttpResponse{.status = status, .headers = {}, .body = std::move(body)};
    }
    std::string startFailure() {
        const auto reply = transport.startLink("device");
        return reply ? "success" : reply.error().description();
    }
    std::string pollFailure() {
        const auto reply = transport.pollLink("poll-secret");
        return reply ? "success" : reply.error().description();
    }

    InstantHttpClient http;
    HTTPDeviceLinkTransport transport{Url("https://a.example:8443"), std::nullopt, http};
};

TEST_F(HTTPDeviceLinkTransportTest, startsALinkForANamedDevice) {
    answer(200, goodStart);
    EXPECT_EQ(transport.startLink("Zorvane on \"Ann's\" Mac"),
              (DeviceLinkStartResponse{.code = "AB-CD",
                                       .pollToken = "p",
                                       .verifyUrl = "https://a.example/link",
                                       .expiresAt = "2025-01-31T09:12:44Z",
                                       .interval = 2.5}));
    ASSERT_EQ(http.requests.size(), 1U);
    const auto& request = http.requests[0];
    EXPECT_EQ(request.url, "https://a.example:8443/api/link/start");
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.body, R"({"name":"Zorvane on \"Ann's\" Mac"})");
    EXPECT_THAT(request.headers, ElementsAre(Pair("Content-Type", "application/json")));
}

TEST_F(HTTPDeviceLinkTransportTest, pollsWithThePollTokenInTheBodyOnly) {
    answer(200, R"({"status":"approved","token":"t","tokenName":"n","more":1})");
    EXPECT_EQ(transport.pollLink("poll-secret"),
              (DeviceLinkPollResponse{.status = "approved", .token = "t", .tokenName = "n"}));
    const auto& request = http.requests.at(0);
    EXPECT_EQ(request.url, "https://a.example:8443/api/link/poll");
    EXPECT_EQ(request.body, R"({"pollToken":"poll-secret"})");
    EXPECT_THAT(request.headers, ElementsAre(Pair("Content-Type", "application/json")));
}

TEST_F(HTTPDeviceLinkTransportTest, boundsTimeAndSizeAndFollowsNoRedirect) {
    EXPECT_FALSE(transport.startLink("device"));
    const auto& request = http.requests.at(0);
    EXPECT_EQ(request.idleTimeout, std::chrono::seconds(30));
    EXPECT_EQ(request.timeout, std::chrono::seconds(120));
    EXPECT_EQ(request.maxBodyBytes, 1U << 20);
    EXPECT_EQ(request.maxRedirects, 0);
}

TEST_F(HTTPDeviceLinkTransportTest, saysItsUserAgentWhenItHasOne) {
    HTTPDeviceLinkTransport named(Url("https://a.example"), "Zorvane/1.0", http);
    EXPECT_FALSE(named.startLink("device"));
    EXPECT_THAT(http.requests.at(0).headers, ElementsAre(Pair("Content-Type", "application/json"),
                                                         Pair("User-Agent", "Zorvane/1.0")));
}

TEST_F(HTTPDeviceLinkTransportTest, appendsThePathToTheOriginsTextAsItIs) {
    for (const std::string& origin :
         std::vector<std::string>{"https://a.example/", "https://a.example/base",
                                  "https://a.example/?q", "http://[::1]:80"}) {
        HTTPDeviceLinkTransport other(Url(origin), std::nullopt, http);
        EXPECT_EQ(std::string(other.origin().buffer()), origin);
        static_cast<void>(other.startLink("device"));
        EXPECT_EQ(http.requests.back().url, origin + "/api/link/start");
    }
}

TEST(LinkServiceUrl, isTheOriginsTextWithThePathBehindIt) {
    EXPECT_EQ(linkServiceUrl("https://a.example/", "/api"), "https://a.example//api");
    EXPECT_EQ(linkServiceUrl("http://127.0.0.1.nip.io:80", "/api"),
              "http://127.0.0.1.nip.io:80/api");
    EXPECT_EQ(linkServiceUrl("http://[::1].evil", "/api"), std::nullopt);
    EXPECT_EQ(linkServiceUrl("http://a.example:8x", "/api"), std::nullopt);
}

TEST_F(HTTPDeviceLinkTransportTest, doesNotSendANameThatIsNotUtf8) {
    const auto reply = transport.startLink("\xff");
    EXPECT_EQ(reply.error(), DeviceLinkFailure::badResponse("could not encode request body"));
    EXPECT_TRUE(http.requests.empty());
}

TEST_F(HTTPDeviceLinkTransportTest, asksNothingOnceItIsAbandoned) {
    answer(200, goodStart);
    transport.abandon();
    EXPECT_EQ(startFailure(), "network: no response");
    EXPECT_EQ(pollFailure(), "network: no response");
    EXPECT_TRUE(http.requests.empty()) << "the client may be gone";
}

TEST_F(HTTPDeviceLinkTransportTest, passesOnWhyTheExchangeFailed) {
    http.answer = std::unexpected(HttpError{HttpError::Kind::cannotConnect, "Connection refused"});
    EXPECT_EQ(startFailure(), "network: Connection refused");
    http.answer = std::unexpected(HttpError{HttpError::Kind::bodyTooLarge, "too large"});
    EXPECT_EQ(pollFailure(), "network: too large");
}

TEST_F(HTTPDeviceLinkTransportTest, takesEveryStatusOfTheTwoHundredsForSuccess) {
    for (const int status : {200, 201, 204, 299}) {
        answer(status, goodStart);
        EXPECT_EQ(startFailure(), "success") << status;
    }
    answer(204, "");
    EXPECT_EQ(startFailure(), "bad response: /api/link/start reply did not decode");
}

TEST_F(HTTPDeviceLinkTransportTest, namesTheServicesOwnErrorText) {
    answer(404, R"({"error":"unknown poll token"})");
    const auto reply = transport.pollLink("poll-secret");
    EXPECT_EQ(reply.error(), DeviceLinkFailure::http(404, "unknown poll token"));
    EXPECT_EQ(reply.error().description(), "HTTP 404: unknown poll token");
    answer(400, R"({"error":""})");
    EXPECT_EQ(startFailure(), "HTTP 400: ");
}

TEST_F(HTTPDeviceLinkTransportTest, namesTheStatusWhenThereIsNoErrorText) {
    for (const std::string& body : std::vector<std::string>{
             "<html>Internal error</html>", "", R"({"error":1})", R"({"error":null})",
             R"({"message":"x"})", R"(["error"])", R"("error")", "{\"error\":\"\xff\"}"}) {
        answer(500, body);
        EXPECT_EQ(startFailure(), "HTTP 500: status 500") << body;
    }
    for (const int status : {100, 199, 300, 302, 307, 404, 599}) {
        answer(status, goodStart);
        EXPECT_EQ(startFailure(),
                  "HTTP " + std::to_string(status) + ": status " + std::to_string(status));
    }
}

TEST_F(HTTPDeviceLinkTransportTest, refusesRepliesThatLackAFieldOrHaveAWrongOne) {
    EXPECT_TRUE(tessel::decodeStartResponse(goodStart));
    for (const std::string& body : std::vector<std::string>{
             R"({"pollToken":"p","verifyUrl":"v","expiresAt":"e"})",
             R"({"code":"c","verifyUrl":"v","expiresAt":"e"})",
             R"({"code":"c","pollToken":"p","expiresAt":"e"})",
             R"({"code":"c","pollToken":"p","verifyUrl":"v"})",
             R"({"code":null,"pollToken":"p","verifyUrl":"v","expiresAt":"e"})",
             R"({"code":"c","pollToken":"p","verifyUrl":"v","expiresAt":5})",
             R"({"code":"c","pollToken":"p","verifyUrl":"v","expiresAt":"e","interval":"3"})",
             R"({"code":"c","pollToken":"p","verifyUrl":"v","expiresAt":"e","interval":true})",
             R"({"code":"c","pollToken":"p","verifyUrl":"v","expiresAt":"e","interval":NaN})",
             R"({"code":"c","pollToken":"p","verifyUrl":"v","expiresAt":"e","interval":1e999})",
             "{}", "[]", "", "null"}) {
        answer(200, body);
        EXPECT_EQ(startFailure(), "bad response: /api/link/start reply did not decode") << body;
    }
    for (const std::string& body : std::vector<std::string>{
             R"({"token":"t"})", R"({"status":1})", R"({"status":"approved","token":1})",
             R"({"status":"approved","token":"t","tokenName":false})", "{"}) {
        answer(200, body);
        EXPECT_EQ(pollFailure(), "bad response: /api/link/poll reply did not decode") << body;
    }
}

TEST(DeviceLinkReplies, haveOptionalFieldsThatMayBeMissingOrNull) {
    const auto intervalIn = [](const std::string& member) {
        const auto reply = tessel::decodeStartResponse(
            R"({"code":"c","pollToken":"p","verifyUrl":"v","expiresAt":"e")" + member + "}");
        EXPECT_TRUE(reply) << member;
        return reply->interval;
    };
    EXPECT_EQ(intervalIn(""), std::nullopt);
    EXPECT_EQ(intervalIn(R"(,"interval":null)"), std::nullopt);
    EXPECT_EQ(intervalIn(R"(,"interval":7)"), 7.0);
    EXPECT_EQ(intervalIn(R"(,"interval":-0.5)"), -0.5);
    EXPECT_EQ(intervalIn(R"(,"interval":18446744073709551615)"), 18446744073709551615.0);
    EXPECT_EQ(intervalIn(R"(,"interval":1e300)"), 1e300);
    EXPECT_EQ(tessel::decodePollResponse(R"({"status":"pending"})"),
              (DeviceLinkPollResponse{.status = "pending"}));
    EXPECT_EQ(tessel::decodePollResponse(R"({"status":"","token":null,"tokenName":null})"),
              (DeviceLinkPollResponse{.status = ""}));
}

} // namespace
