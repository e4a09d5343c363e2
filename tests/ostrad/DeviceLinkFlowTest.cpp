#include "tests/ostrad/OstradFixture.h"

#include <gmock/gmock.h>

namespace ostrad::test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class DeviceLinkFlow : public OstradTest {
  protected:
    [[nodiscard]] boost::json::object startNamed(const std::string& name) const {
        const auto reply = postJson(port, "/api/link/start", R"({"name":")" + name + "\"}");
        EXPECT_EQ(reply.status, 200) << reply.body;
        return boost::json::parse(reply.body).as_object();
    }
    RawReply poll(const boost::json::object& started) const {
        return postJson(
            port, "/api/link/poll",
            boost::json::serialize(boost::json::object{{"pollToken", started.at("pollToken")}}));
    }
    RawReply answer(const std::string& action, const boost::json::object& started) const {
        return postJson(port, "/api/account/link/" + action,
                        boost::json::serialize(boost::json::object{{"code", started.at("code")}}));
    }
    // The Cookie line of an allowed session.
    [[nodiscard]] std::string allowedSession() const {
        const auto reply = postJson(port, "/api/link/session", "{}");
        EXPECT_EQ(reply.status, 200);
        const std::string cookie = reply.header("set-cookie");
        EXPECT_THAT(cookie, HasSubstr("; HttpOnly"));
        EXPECT_THAT(cookie, HasSubstr("; SameSite=Strict"));
        return "Cookie: theme=dark; " + cookie.substr(0, cookie.find(';')) + "\r\n";
    }
    RawReply mint(const std::string& lines) const {
        return exchange(port, "POST", "/api/link/mint", lines);
    }
    [[nodiscard]] std::string origin() const { return "http://127.0.0.1:" + std::to_string(port); }
};

TEST_F(DeviceLinkFlow, goesFromStartOverApprovalToAToken) {
    const auto started = startNamed("Studio");
    EXPECT_EQ(std::string(started.at("verifyUrl").as_string()),
              origin() + "/link?code=" + std::string(started.at("code").as_string()));
    EXPECT_THAT(std::string(started.at("expiresAt").as_string()),
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z"));
    EXPECT_EQ(started.at("interval"), 2);
    EXPECT_EQ(poll(started).body, R"({"status":"pending"})");
    EXPECT_EQ(answer("approve", started).status, 200);
    const auto approved = boost::json::parse(poll(started).body).as_object();
    EXPECT_EQ(approved.at("status"), "approved");
    EXPECT_EQ(approved.at("tokenName"), "Studio");
    EXPECT_FALSE(approved.at("token").as_string().empty());
    EXPECT_EQ(poll(started).status, 404);
    EXPECT_EQ(json("/api/account/link/status").at("linked"), false)
        << "a device's link is not the server's";
}

TEST_F(DeviceLinkFlow, endsWithADenial) {
    const auto started = startNamed("Studio");
    EXPECT_EQ(answer("deny", started).status, 200);
    EXPECT_EQ(poll(started).body, R"({"status":"denied"})");
}

TEST_F(DeviceLinkFlow, refusesWhatItCannotRead) {
    EXPECT_EQ(postJson(port, "/api/link/start", "{}").status, 400);
    EXPECT_EQ(postJson(port, "/api/link/start", R"({"name":"  "})").status, 400);
    EXPECT_EQ(postJson(port, "/api/link/start", "[]").status, 400);
    EXPECT_EQ(postJson(port, "/api/link/poll", R"({"pollToken":"x"})").status, 404);
    EXPECT_EQ(postJson(port, "/api/link/poll", R"({"pollToken":7})").status, 404);
    EXPECT_EQ(get("/api/link/start").status, 405);
    EXPECT_EQ(postJson(port, "/api/link/session", "{}", "Origin: http://evil.example\r\n").status,
              403);
}

TEST_F(DeviceLinkFlow, voidsADeviceCodeAfterFiveWrongOnes) {
    const auto started = startNamed("Studio");
    for (int i = 0; i < 5; ++i) {
        EXPECT_NE(postJson(port, "/api/account/link/approve", R"({"code":"nonsense"})").status,
                  200);
    }
    EXPECT_NE(answer("approve", started).status, 200);
    EXPECT_EQ(poll(started).body, R"({"status":"denied"})");
}

TEST_F(DeviceLinkFlow, mintsATokenForAWindowThatWasAllowed) {
    EXPECT_EQ(get("/connect").status, 200);
    EXPECT_EQ(get("/api/link/session").body, R"({"allowed":false})");
    const std::string session = allowedSession();
    EXPECT_EQ(get("/api/link/session", session).body, R"({"allowed":true})");
    const auto reply = mint(session + "X-Ostrad-App: 1\r\nX-App-Device: Studio\r\n");
    ASSERT_EQ(reply.status, 200);
    const auto minted = boost::json::parse(reply.body).as_object();
    EXPECT_FALSE(minted.at("token").as_string().empty());
    EXPECT_EQ(std::string(minted.at("origin").as_string()), origin());
    EXPECT_EQ(minted.at("tokenName"), "Studio");
}

TEST_F(DeviceLinkFlow, mintsNothingWithoutSessionOrHeader) {
    const std::string session = allowedSession();
    EXPECT_EQ(mint("X-Ostrad-App: 1\r\n").status, 401);
    EXPECT_EQ(
        mint("X-Ostrad-App: 1\r\nCookie: ostrad_session_" + std::to_string(port) + "=guess\r\n")
            .status,
        401);
    EXPECT_EQ(mint(session).status, 400);
    EXPECT_EQ(mint(session + "X-Ostrad-App: 1\r\nOrigin: http://evil.example\r\n").status, 403);
}

} // namespace
} // namespace ostrad::test
