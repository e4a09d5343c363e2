#include "tests/ostrad/OstradFixture.h"

#include <csignal>

namespace ostrad::test {
namespace {

class LinkFlow : public OstradTest {
  protected:
    [[nodiscard]] boost::json::value status() const { return json("/api/account/link/status"); }
    RawReply send(const std::string& action, const std::string& code) const {
        return postJson(port, "/api/account/" + action, R"({"code":")" + code + "\"}");
    }
    [[nodiscard]] std::string origin() const { return "http://127.0.0.1:" + std::to_string(port); }
};

TEST_F(LinkFlow, goesFromStartOverApprovalToUnlink) {
    EXPECT_EQ(get("/api/account/link/status").body, R"({"linked":false,"pending":false})");

    const auto started = json("/api/account/link/start");
    const std::string code(started.at("code").as_string());
    EXPECT_EQ(started.at("verifyUrl").as_string().c_str(), origin() + "/link?code=" + code);
    EXPECT_EQ(status().at("pending"), true);
    EXPECT_EQ(status().at("code").as_string().c_str(), code);
    EXPECT_EQ(status().at("verifyUrl"), started.at("verifyUrl"));
    EXPECT_EQ(get("/link?code=" + code).status, 200);

    EXPECT_EQ(send("link/approve", "AAAA-2222x").status, 400);
    EXPECT_EQ(send("link/approve", code).status, 200);
    EXPECT_EQ(status().at("linked"), true);
    EXPECT_EQ(status().at("pending"), false);
    EXPECT_EQ(status().at("origin").as_string().c_str(), origin());
    EXPECT_FALSE(status().at("serverName").as_string().empty());
    EXPECT_FALSE(status().as_object().contains("code"));
    EXPECT_EQ(get("/api/account/link/start").status, 409);
    EXPECT_EQ(get("/account").status, 200);

    EXPECT_EQ(postJson(port, "/api/account/unlink", "{}").status, 200);
    EXPECT_EQ(get("/api/account/link/status").body, R"({"linked":false,"pending":false})");
}

TEST_F(LinkFlow, endsWithADenial) {
    const std::string code(json("/api/account/link/start").at("code").as_string());
    EXPECT_EQ(send("link/deny", code).status, 200);
    EXPECT_EQ(status().at("pending"), false);
    EXPECT_EQ(send("link/approve", code).status, 409);
}

TEST_F(LinkFlow, staysLinkedAfterARestartOnAnotherPort) {
    send("link/approve", std::string(json("/api/account/link/start").at("code").as_string()));
    server->signal(SIGTERM);
    ASSERT_EQ(server->wait(), 0);
    start();
    EXPECT_EQ(status().at("linked"), true);
    EXPECT_EQ(status().at("origin").as_string().c_str(), origin());
}

TEST_F(LinkFlow, takesAnApprovalFromItsOwnPageOnly) {
    const std::string code(json("/api/account/link/start").at("code").as_string());
    const std::string body = R"({"code":")" + code + "\"}";
    const std::string target = "/api/account/link/approve";
    EXPECT_EQ(postJson(port, target, body, "Origin: http://evil.example\r\n").status, 403);
    EXPECT_EQ(postJson(port, target, body, "Origin: http://127.0.0.1:1\r\n").status, 403);
    EXPECT_EQ(postJson(port, target, body, "Sec-Fetch-Site: cross-site\r\n").status, 403);
    EXPECT_EQ(exchange(port, "POST", target, "Content-Type: text/plain\r\n", body).status, 415);
    EXPECT_EQ(status().at("linked"), false);
    EXPECT_EQ(postJson(port, target, body, "Origin: " + origin() + "\r\n").status, 200);
}

} // namespace
} // namespace ostrad::test
