#include "tests/ostrad/OstradFixture.h"

namespace ostrad::test {
namespace {

class RequestGate : public OstradTest {
  protected:
    int statusFor(const std::string& text) const {
        RawClient client(port);
        client.send(text);
        return client.readReply().status;
    }
};

TEST_F(RequestGate, answersToItsOwnAddressOnly) {
    const std::string number = std::to_string(port);
    const auto withHost = [this](const std::string& host) {
        return statusFor("GET /api/libraries HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
    };
    EXPECT_EQ(withHost("127.0.0.1:" + number), 200);
    EXPECT_EQ(withHost("localhost:" + number), 200);
    EXPECT_EQ(withHost("[::1]:" + number), 200);
    EXPECT_EQ(withHost("evil.example:" + number), 403);
    EXPECT_EQ(withHost("127.0.0.1"), 403);
    EXPECT_EQ(withHost("127.0.0.1:1"), 403);
    EXPECT_EQ(
        statusFor("GET http://evil.example/ HTTP/1.1\r\nHost: 127.0.0.1:" + number + "\r\n\r\n"),
        403);
    EXPECT_EQ(statusFor("GET / HTTP/1.0\r\n\r\n"), 403);
}

TEST_F(RequestGate, refusesWritesOfOtherSites) {
    temp.makeFolder("films");
    const std::string body = R"({"modeId":"movies","path":")" + temp.path("films") + "\"}";
    for (const char* line : {"Origin: http://evil.example\r\n", "Origin: null\r\n",
                             "Sec-Fetch-Site: cross-site\r\n", "Sec-Fetch-Site: same-site\r\n"}) {
        EXPECT_EQ(postJson(port, "/api/libraries", body, line).status, 403) << line;
    }
    EXPECT_EQ(get("/api/libraries").body, "[]");
    EXPECT_EQ(
        exchange(port, "DELETE", "/api/libraries/1", "Origin: http://evil.example\r\n").status,
        403);
}

TEST_F(RequestGate, leadsNowhereByTraversal) {
    for (const char* target : {"/../etc/passwd", "/media/../../etc/passwd", "/%2e%2e/etc/passwd",
                               "/media/%2e%2e%2f%2e%2e%2fetc%2fpasswd", "/art/..%2f..%2fdata.db",
                               "//etc/passwd", "/app.js/../../x"}) {
        EXPECT_EQ(get(target).status, 404) << target;
    }
}

TEST_F(RequestGate, survivesGarbage) {
    std::string bytes;
    std::uint32_t seed = 1;
    for (int round = 0; round < 100; ++round) {
        bytes.clear();
        for (int i = 0; i < 200; ++i) {
            seed = seed * 1664525 + 1013904223;
            bytes += static_cast<char>(seed >> 24);
        }
        RawClient client(port);
        client.send(round % 2 == 0 ? bytes : requestText(port, "GET", "/api/") + bytes);
        client.finishSending();
    }
    EXPECT_EQ(get("/api/health").status, 200);
}

} // namespace
} // namespace ostrad::test
