#include "ostrad/RequestRules.h"

#include <gtest/gtest.h>

namespace ostrad {
namespace {

Request with(std::vector<std::pair<std::string, std::string>> headers,
             Method method = Method::get) {
    Request request;
    request.method = method;
    request.path = "/";
    request.headers = std::move(headers);
    return request;
}

TEST(OwnHost, isOneOfThreeNamesWithThePort) {
    for (const char* host : {"127.0.0.1:4280", "localhost:4280", "LocalHost:4280", "[::1]:4280"}) {
        EXPECT_TRUE(isOwnHost(host, 4280)) << host;
    }
}

TEST(OwnHost, isNothingElse) {
    for (const char* host :
         {"", "127.0.0.1", "localhost", "127.0.0.1:4281", "evil.example:4280", "127.0.0.1:4280.",
          "localhost.evil.example:4280", "127.0.0.1:04280", "::1:4280", "0.0.0.0:4280"}) {
        EXPECT_FALSE(isOwnHost(host, 4280)) << host;
    }
    EXPECT_FALSE(isOwnHost(std::nullopt, 4280));
}

TEST(OwnHost, mayLeaveOutTheDefaultPort) {
    EXPECT_TRUE(isOwnHost("127.0.0.1", 80));
}

TEST(ForeignRequest, isKnownByItsOrigin) {
    EXPECT_FALSE(isForeign(with({}), 80));
    EXPECT_FALSE(isForeign(with({{"origin", "http://127.0.0.1:4280"}}), 4280));
    for (const char* origin : {"null", "", "http://evil.example", "https://127.0.0.1:4280",
                               "http://127.0.0.1:4281", "http://127.0.0.1:4280.evil.example"}) {
        EXPECT_TRUE(isForeign(with({{"origin", origin}}), 4280)) << origin;
    }
}

TEST(ForeignRequest, isKnownByFetchMetadata) {
    EXPECT_FALSE(isForeign(with({{"sec-fetch-site", "same-origin"}}), 4280));
    EXPECT_FALSE(isForeign(with({{"sec-fetch-site", "none"}}), 4280));
    EXPECT_TRUE(isForeign(with({{"sec-fetch-site", "cross-site"}}), 4280));
    EXPECT_TRUE(isForeign(with({{"sec-fetch-site", "same-site"}}), 4280));
}

TEST(PageVisit, isANavigationOfAWholePage) {
    const std::vector<std::pair<std::string, std::string>> link{{"sec-fetch-mode", "navigate"},
                                                                {"sec-fetch-dest", "document"}};
    EXPECT_TRUE(isPageVisit(with(link)));
    EXPECT_FALSE(isPageVisit(with(link, Method::post)));
    EXPECT_FALSE(isPageVisit(with({{"sec-fetch-mode", "navigate"}, {"sec-fetch-dest", "iframe"}})));
    EXPECT_FALSE(isPageVisit(with({})));
}

TEST(JsonContentType, allowsParametersAndCase) {
    EXPECT_TRUE(isJson("application/json"));
    EXPECT_TRUE(isJson("Application/JSON ; charset=utf-8"));
    EXPECT_FALSE(isJson("text/plain"));
    EXPECT_FALSE(isJson("application/jsonp"));
    EXPECT_FALSE(isJson("application/x-www-form-urlencoded"));
    EXPECT_FALSE(isJson(std::nullopt));
}

} // namespace
} // namespace ostrad
