#include "ostrad/Http.h"

#include <gtest/gtest.h>

namespace ostrad {
namespace {

TEST(Target, splitsIntoDecodedPathAndQuery) {
    const auto target = parseTarget("/api/a%20b?x=1%262&y=a+b&&z&w=");
    ASSERT_TRUE(target);
    EXPECT_EQ(target->path, "/api/a b");
    const std::vector<std::pair<std::string, std::string>> expected{
        {"x", "1&2"}, {"y", "a b"}, {"z", ""}, {"w", ""}};
    EXPECT_EQ(target->query, expected);
    EXPECT_FALSE(target->authority);
}

TEST(Target, mayNameTheWholeAddress) {
    const auto target = parseTarget("http://localhost:80/x?y=1");
    ASSERT_TRUE(target);
    EXPECT_EQ(target->authority, "localhost:80");
    EXPECT_EQ(target->path, "/x");
    EXPECT_EQ(parseTarget("http://localhost:80")->path, "/");
}

TEST(Target, keepsAPlusInThePath) {
    EXPECT_EQ(parseTarget("/a+b")->path, "/a+b");
}

TEST(Target, isRefusedWhenBroken) {
    for (const char* text : {"", "*", "x", "https://localhost/", "example.com:80", "/%", "/%4",
                             "/%zz", "/%00", "/?a=%", "?a=b", "http://h?%g"}) {
        EXPECT_FALSE(parseTarget(text)) << text;
    }
}

TEST(HttpDate, isAnImfFixdate) {
    EXPECT_EQ(httpDate(784111777), "Sun, 06 Nov 1994 08:49:37 GMT");
    EXPECT_EQ(httpDate(0), "Thu, 01 Jan 1970 00:00:00 GMT");
}

TEST(ReasonPhrase, existsForAStatusWeSend) {
    EXPECT_EQ(reasonPhrase(206), "Partial Content");
    for (const int status : {100, 200, 201, 202, 204, 206, 304, 400, 401, 403, 404,
                             405, 409, 410, 413, 415, 416, 422, 431, 500, 501, 503}) {
        EXPECT_NE(reasonPhrase(status), "Unknown") << status;
    }
    EXPECT_EQ(reasonPhrase(799), "Unknown");
}

} // namespace
} // namespace ostrad
