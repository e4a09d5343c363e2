#include "mac/OstraCore/AccountLink.h"

#include "platform/testing/ScriptedHttpClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace ostra {
namespace {

using namespace std::chrono_literals;
using namespace std::string_view_literals;
using platform::HttpError;
using platform::HttpResponse;
using platform::testing::ScriptedHttpClient;

constexpr std::string_view nothing = "nothing";

std::string textOf(const std::optional<Url>& url) {
    return url ? std::string(url->buffer()) : std::string(nothing);
}

std::string deeplyNested(std::size_t levels) {
    return R"({"linked":true,"x":)" + std::string(levels, '[') + std::string(levels, ']') + "}";
}

TEST(AccountStatus, readsEveryMember) {
    const auto status = AccountLink::parseStatus(
        R"({"linked":false,"pending":true,"code":"ABCD-1234","verifyUrl":"https://a.example/link?c=1",
            "origin":"https://a.example","serverName":"Den \u00e9","more":[1,{"linked":7}]})");
    ASSERT_TRUE(status);
    EXPECT_EQ(*status, (AccountStatus{.linked = false,
                                      .pending = true,
                                      .code = "ABCD-1234",
                                      .verifyURL = Url("https://a.example/link?c=1"),
                                      .origin = Url("https://a.example"),
                                      .serverName = "Den é"}));
}

TEST(AccountStatus, needsNothingButTheLink) {
    const auto status = AccountLink::parseStatus(R"({"linked":true})");
    ASSERT_TRUE(status);
    EXPECT_EQ(*status, AccountStatus{.linked = true});
    EXPECT_FALSE(status->pending);
    EXPECT_EQ(status->menuLine(), "Account: linked");
}

TEST(AccountStatus, isNothingWhenTheReplyIsNoObjectThatSaysWhetherThereIsALink) {
    for (const std::string_view reply : {""sv,
                                         " "sv,
                                         "null"sv,
                                         "true"sv,
                                         "[]"sv,
                                         R"([{"linked":true}])"sv,
                                         "{}"sv,
                                         R"({"pending":true})"sv,
                                         R"({"linked":"true"})"sv,
                                         R"({"linked":1})"sv,
                                         R"({"linked":0})"sv,
                                         R"({"linked":null})"sv,
                                         R"({"linked":[true]})"sv,
                                         R"({"Linked":true})"sv,
                                         R"({"linked":tru)"sv,
                                         R"({"linked":true)"sv,
                                         R"({"linked":true}})"sv,
                                         R"({"linked":true} x)"sv,
                                         R"({"linked":true,})"sv,
                                         R"({linked:true})"sv,
                                         R"({"linked":TRUE})"sv,
                                         "<html></html>"sv,
                                         "{\"linked\":true,\"x\":\"\xFF\"}"sv,
                                         "{\"linked\":true,\"x\":\"\xC3\"}"sv,
                                         R"({"linked":true,"x":"\ud800"})"sv,

                                         "{\"linked\":true}\0"sv,
                                         "\0"sv,
                                         "\xFF\xFE{\0}\0"sv,
                                         R"({"linked":true,"x":01})"sv,
                                         R"({"linked":true,"x":NaN})"sv,
                                         R"({"linked":true /* no comments */})"sv}) {
        EXPECT_EQ(AccountLink::parseStatus(reply), std::nullopt) << reply;
    }
}

TEST(AccountStatus, takesMembersOfAWrongTypeAsAbsent) {
    for (const std::string_view wrong : {"7", "null", "[]", "{}", "1.5", "\"\""}) {
        for (const std::string_view name : {"verifyUrl", "origin"}) {
            const auto status = AccountLink::parseStatus("{\"linked\":true,\"" + std::string(name) +
                                                         "\":" + std::string(wrong) + "}");
            EXPECT_EQ(status, AccountStatus{.linked = true}) << name << wrong;
        }
    }
    for (const std::string_view wrong : {"7", "null", "[\"x\"]", "{}", "true"}) {
        for (const std::string_view name : {"code", "serverName"}) {
            const auto status = AccountLink::parseStatus("{\"linked\":true,\"" + std::string(name) +
                                                         "\":" + std::string(wrong) + "}");
            EXPECT_EQ(status, AccountStatus{.linked = true}) << name << wrong;
        }
    }
    for (const std::string_view wrong : {"1", "\"true\"", "null", "[true]"}) {
        const auto status =
            AccountLink::parseStatus("{\"linked\":true,\"pending\":" + std::string(wrong) + "}");
        EXPECT_EQ(status, AccountStatus{.linked = true}) << wrong;
    }
}

TEST(AccountStatus, leavesOutAnAddressThatIsNone) {
    for (const std::string_view wrong :
         {"http://a b/", "http://[::1/", "http://a:port/", "%zz", "http://h/\xC3\xA4", "\\u0000",
          "http://h/\\n", "1http://h", "http://h/<x>"}) {
        const auto status = AccountLink::parseStatus("{\"linked\":true,\"verifyUrl\":\"" +
                                                     std::string(wrong) + "\"}");
        EXPECT_EQ(status, AccountStatus{.linked = true}) << wrong;
    }
}

TEST(AccountStatus, survivesNestingHugeNumbersAndRepeatedMembers) {
    EXPECT_TRUE(AccountLink::parseStatus(deeplyNested(90)));
    for (const std::size_t levels : {101U, 1000U, 400'000U}) {
        EXPECT_EQ(AccountLink::parseStatus(deeplyNested(levels)), std::nullopt) << levels;
    }
    EXPECT_EQ(AccountLink::parseStatus(std::string(1'000'000, '[')), std::nullopt);
    EXPECT_EQ(AccountLink::parseStatus(std::string(1'000'000, '{')), std::nullopt);
    EXPECT_TRUE(
        AccountLink::parseStatus("{\"linked\":true,\"x\":" + std::string(10'000, '9') + "}"));
    EXPECT_TRUE(AccountLink::parseStatus(R"({"linked":true,"x":[1e99999,-1e-99999]})"));
    EXPECT_EQ(AccountLink::parseStatus(R"({"linked":true,"linked":false})"),
              AccountStatus{.linked = false});
    EXPECT_TRUE(AccountLink::parseStatus("\xEF\xBB\xBF{\"linked\":true}")) << "byte order mark";
}

TEST(AccountStatus, readsAnyPrefixOfAReplyWithoutHarm) {
    const std::string_view whole =
        R"( {"linked":false,"code":"\u00e9\ud83d\ude00","verifyUrl":"http://h/%41","n":-1.5e3} )";
    for (std::size_t length = 0; length < whole.size() - 2; ++length) {
        EXPECT_EQ(AccountLink::parseStatus(whole.substr(0, length)), std::nullopt) << length;
    }
    EXPECT_TRUE(AccountLink::parseStatus(whole));
}

TEST(AccountStatus, hasALineForTheMenu) {
    const std::string code = "ABCD-1234";
    EXPECT_EQ((AccountStatus{.linked = true, .pending = true, .code = code}.menuLine()),
              "Account: linked");
    EXPECT_EQ((AccountStatus{.pending = true, .code = code}.menuLine()),
              "Account: linking\u2026 ABCD-1234");
    EXPECT_EQ((AccountStatus{.pending = true}.menuLine()), "Account: not linked");
    EXPECT_EQ((AccountStatus{.code = code}.menuLine()), "Account: not linked");
    EXPECT_EQ(AccountStatus{}.menuLine(), "Account: not linked");
}

TEST(LinkStart, readsCodeAndPage) {
    EXPECT_EQ(AccountLink::parseStart(R"({"code":"AB","verifyUrl":"http://h/link","x":0})"),
              (LinkStart{.code = "AB", .verifyURL = Url("http://h/link")}));
}

TEST(LinkStart, isNothingWithoutACodeAndAPage) {
    for (const std::string_view reply :
         {""sv, "[]"sv, "{}"sv, R"({"code":"AB"})"sv, R"({"verifyUrl":"http://h/"})"sv,
          R"({"code":"","verifyUrl":"http://h/"})"sv, R"({"code":7,"verifyUrl":"http://h/"})"sv,
          R"({"code":null,"verifyUrl":"http://h/"})"sv, R"({"code":"AB","verifyUrl":""})"sv,
          R"({"code":"AB","verifyUrl":"http://a b/"})"sv, R"({"code":"AB","verifyUrl":7})"sv,
          R"({"code":"AB","verifyUrl":"http://h/")"sv}) {
        EXPECT_EQ(AccountLink::parseStart(reply), std::nullopt) << reply;
    }
}

TEST(AccountPage, isBelowTheOrigin) {
    const auto page = [](const char* origin) {
        return textOf(AccountLink::accountPageURL(AccountStatus{.origin = Url(origin)}));
    };
    EXPECT_EQ(page("https://a.example"), "https://a.example/account");
    EXPECT_EQ(page("https://a.example/"), "https://a.example/account");
    EXPECT_EQ(page("https://a.example:8443/base"), "https://a.example:8443/base/account");
    EXPECT_EQ(page("https://a.example/base/?q=1"), "https://a.example/base/account?q=1");
    EXPECT_EQ(textOf(AccountLink::accountPageURL(std::nullopt)), nothing);
    EXPECT_EQ(textOf(AccountLink::accountPageURL(AccountStatus{.linked = true})), nothing);
}

class AccountLinkTest : public testing::Test {
  protected:
    platform::testing::ManualScheduler scheduler;
    ScriptedHttpClient session{scheduler};
    std::vector<std::optional<AccountStatus>> statuses;
    std::vector<std::optional<LinkStart>> starts;

    void answer(int status, std::string body) {
        session.script = [status, body = std::move(body)](const auto&) {
            return ScriptedHttpClient::Answer{
                HttpResponse{.status = status, .headers = {}, .body = body}};
        };
    }
    void fetchStatus(const std::string& base = "http://127.0.0.1:4280/") {
        AccountLink::fetchStatus(Url(base), session,
                                 [this](auto status) { statuses.push_back(std::move(status)); });
        scheduler.advance(61s);
    }
    void startLink() {
        AccountLink::startLink(Url("http://127.0.0.1:4280"), session,
                               [this](auto start) { starts.push_back(std::move(start)); });
        scheduler.advance(61s);
    }
};

TEST_F(AccountLinkTest, asksForTheStatusWithAPlainGet) {
    answer(200, R"({"linked":true})");
    fetchStatus("http://127.0.0.1:4280/");
    fetchStatus("http://127.0.0.1:4280");
    ASSERT_EQ(session.requests.size(), 2U);
    for (const auto& request : session.requests) {
        EXPECT_EQ(request.url, "http://127.0.0.1:4280/api/account/link/status");
        EXPECT_EQ(request.method, "GET");
        EXPECT_TRUE(request.headers.empty());
        EXPECT_EQ(request.body, "");
        EXPECT_EQ(request.timeout, 60s);
        EXPECT_EQ(request.maxRedirects, 0);
    }
    EXPECT_THAT(statuses,
                testing::ElementsAre(AccountStatus{.linked = true}, AccountStatus{.linked = true}));
}

TEST_F(AccountLinkTest, startsALinkWithAPlainGet) {
    answer(200, R"({"code":"AB","verifyUrl":"http://h/"})");
    startLink();
    ASSERT_EQ(session.requests.size(), 1U);
    EXPECT_EQ(session.requests[0].url, "http://127.0.0.1:4280/api/account/link/start");
    EXPECT_EQ(session.requests[0].method, "GET");
    EXPECT_THAT(starts,
                testing::ElementsAre(LinkStart{.code = "AB", .verifyURL = Url("http://h/")}));
}

TEST_F(AccountLinkTest, doesNotLookAtTheHttpStatus) {
    answer(500, R"({"linked":false})");
    fetchStatus();
    answer(409, R"({"code":"AB","verifyUrl":"http://h/"})");
    startLink();
    EXPECT_THAT(statuses, testing::ElementsAre(AccountStatus{}));
    EXPECT_THAT(starts, testing::ElementsAre(testing::Ne(std::nullopt)));
}

TEST_F(AccountLinkTest, answersEveryFailureWithNothing) {
    using Kind = HttpError::Kind;
    for (const Kind kind : {Kind::badRequest, Kind::cannotConnect, Kind::timedOut,
                            Kind::bodyTooLarge, Kind::protocol, Kind::cancelled}) {
        session.script = [kind](const auto&) {
            return ScriptedHttpClient::Answer{
                std::unexpected(HttpError{.kind = kind, .message = ""})};
        };
        fetchStatus();
        startLink();
    }
    session.script = [](const auto&) { return std::nullopt; };
    fetchStatus();
    startLink();
    answer(204, "");
    fetchStatus();
    startLink();
    answer(200, "<html></html>");
    fetchStatus();
    startLink();
    EXPECT_THAT(statuses, testing::AllOf(testing::SizeIs(9), testing::Each(std::nullopt)));
    EXPECT_THAT(starts, testing::AllOf(testing::SizeIs(9), testing::Each(std::nullopt)));
}

} // namespace
} // namespace ostra
