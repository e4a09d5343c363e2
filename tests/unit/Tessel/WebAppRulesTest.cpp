#include "mac/Tessel/WebApp/WebAppRules.h"

#include "mac/Tessel/Values/Url.h"
#include "tests/unit/Tessel/SampleWebApp.h"

#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>

namespace tessel {
namespace {

using namespace std::chrono_literals;
using platform::NavigationAction;

struct Page {
    std::string_view url;
    bool inApp;
};

class PagesOfTheApp : public testing::TestWithParam<Page> {};

TEST_P(PagesOfTheApp, areThoseOfTheOriginsHostAndTheSignInHosts) {
    EXPECT_EQ(isInApp(sampleWebApp("https://App.Example.com:8443"), GetParam().url),
              GetParam().inApp)
        << GetParam().url;
}

INSTANTIATE_TEST_SUITE_P(
    Table, PagesOfTheApp,
    testing::Values(
        Page{"https://app.example.com/", true}, Page{"https://APP.example.COM", true},
        Page{"http://app.example.com:81/x", true}, Page{"ftp://app.example.com/x", true},
        Page{"https://ann:pw@app.example.com/", true}, Page{"https://app.example.com?q", true},
        Page{"https://app.example.com#f", true},
        // What the view leaves as it is in a query and in a fragment.
        Page{"https://app.example.com/a|b?c={\"d\"}[^`#\\<x>", true},
        Page{"https://app.example.com/%zz", true},
        // Exactly the sign-in hosts.
        Page{"https://login.example.net/o?u=https://x.org", true},
        Page{"https://LOGIN.example.net", true}, Page{"https://a.login.example.net/", false},
        Page{"https://example.net/", false},
        // Neither below nor above the origin's host, and nothing that only looks like it.
        Page{"https://www.app.example.com/", false}, Page{"https://example.com/", false},
        Page{"https://app.example.com.evil.org/", false},
        Page{"https://evil.org/app.example.com", false},
        Page{"https://app.example.com@evil.org/", false},
        Page{"https://evil.org?app.example.com", false},
        Page{"https://evil.org\\@app.example.com/", false},
        Page{"https://evil.org#@app.example.com/", false}, Page{"https://app.example.com./", false},
        // No host at all.
        Page{"", false}, Page{"about:blank", false}, Page{"mailto:ann@app.example.com", false},
        Page{"file:///app.example.com", false}, Page{"javascript:'://app.example.com/'", false},
        Page{"data:text/html,https://app.example.com/", false}, Page{"//app.example.com/", false},
        Page{"https://", false}, Page{"https://app example.com/", false},
        Page{"https://[::1", false}));

TEST(PagesOfAnAddress, areRecognisedWithoutTheirBrackets) {
    WebAppConfig config = sampleWebApp("http://[::1]:8080");
    EXPECT_TRUE(isInApp(config, "http://[::1]:9090/x"));
    EXPECT_FALSE(isInApp(config, "http://[::2]:8080/x"));
    config.authHosts = {"::2"};
    EXPECT_TRUE(isInApp(config, "http://[::2]/"));
}

TEST(PagesOfAnOriginWithoutAHost, areOnlyThoseOfTheSignInHosts) {
    const WebAppConfig config = sampleWebApp("app:/start");
    EXPECT_FALSE(isInApp(config, "app:/start"));
    EXPECT_TRUE(isInApp(config, "https://login.example.net/"));
}

TEST(SignInHosts, areComparedAsWritten) {
    WebAppConfig config = sampleWebApp();
    config.authHosts = {"Login.Example.net"};
    EXPECT_FALSE(isInApp(config, "https://login.example.net/"));
}

TEST(NavigationRule, sendsOnlyFollowedLinksToOtherHostsAway) {
    const WebAppConfig config = sampleWebApp();
    const std::string foreign = "https://elsewhere.org/x";
    EXPECT_TRUE(leavesTheApp(config, {.url = foreign, .isLinkActivated = true}));
    EXPECT_FALSE(leavesTheApp(config, {.url = foreign, .isLinkActivated = false}));
    EXPECT_FALSE(
        leavesTheApp(config, {.url = "http://app.example.com:81/", .isLinkActivated = true}));
    EXPECT_FALSE(leavesTheApp(config, {.url = "", .isLinkActivated = true}));
}

TEST(NavigationRule, sendsAFollowedLinkWithoutAHostAway) {
    EXPECT_TRUE(leavesTheApp(sampleWebApp(), {.url = "mailto:a@b.org", .isLinkActivated = true}));
    EXPECT_TRUE(leavesTheApp(sampleWebApp(), {.url = "file:///etc", .isLinkActivated = true}));
}

TEST(PagesOfAnAddress, areNotThoseWhoseHostOnlyBeginsLikeIt) {
    for (const auto& [origin, page] : std::vector<std::pair<std::string_view, std::string_view>>{
             {"http://127.0.0.1", "http://127.0.0.1.evil/"},
             {"http://127.0.0.1:8080", "http://127.0.0.1.evil:8080/"},
             {"http://127.0.0.1", "http://127.0.0.1evil"},
             {"http://127.0.0.1", "http://127.0.0.10/"},
             {"http://127.0.0.1", "http://127.0.0.1@evil.org/"},
             {"http://127.0.0.1", "//127.0.0.1://127.0.0.1"},
             {"http://[::1]", "http://[::1].evil/"},
             {"http://[::1]", "http://[::1]evil:80/"},
             {"https://app.example.com", "https://app.example.com:80evil/"}}) {
        EXPECT_FALSE(isInApp(sampleWebApp(origin), page)) << page;
    }
}

struct External {
    std::string_view url;
    bool opened;
};

class ExternalUrls : public testing::TestWithParam<External> {};

TEST_P(ExternalUrls, areWebPagesAndMailAddressesOnly) {
    EXPECT_EQ(mayOpenExternally(GetParam().url), GetParam().opened) << GetParam().url;
}

INSTANTIATE_TEST_SUITE_P(
    Table, ExternalUrls,
    testing::Values(External{"https://a.org/", true}, External{"http://a.org", true},
                    External{"mailto:ann@a.org", true}, External{"HTTPS://a.org/", false},
                    External{"Mailto:ann@a.org", false}, External{"ftp://a.org/", false},
                    External{"file:///etc/passwd", false}, External{"javascript:alert(1)", false},
                    External{"httpsx://a.org", false}, External{"https", false},
                    External{" https://a.org", false}, External{"x-app:https://a.org", false},
                    External{"data:text/html,x", false}, External{"", false}));

struct Place {
    std::string_view origin;
    std::string_view path;
    std::string_view url;
};

class AppUrls : public testing::TestWithParam<Place> {};

TEST_P(AppUrls, areRelativeToTheOrigin) {
    const auto& [origin, path, url] = GetParam();
    EXPECT_EQ(appUrl(sampleWebApp(origin), path).buffer(), url) << path;
}

INSTANTIATE_TEST_SUITE_P(
    Table, AppUrls,
    testing::Values(Place{"https://a.org", "/start", "https://a.org/start"},
                    Place{"https://a.org", "start", "https://a.org/start"},
                    Place{"https://a.org:8443/", "/x?y=1&z#f", "https://a.org:8443/x?y=1&z#f"},
                    Place{"https://a.org/base/", "x", "https://a.org/base/x"},
                    Place{"https://a.org/base", "x", "https://a.org/x"},
                    Place{"https://a.org/base/", "../x", "https://a.org/x"},
                    Place{"https://a.org", "?q", "https://a.org?q"},
                    Place{"https://a.org", "", "https://a.org"},
                    Place{"https://a.org", "https://b.org/x", "https://b.org/x"},
                    Place{"https://a.org", "//b.org/x", "https://b.org/x"},
                    Place{"https://a.org/", "no url at all", "https://a.org/"},
                    Place{"https://a.org/", "/100%", "https://a.org/"},
                    Place{"https://a.org/", "http://[", "https://a.org/"},
                    Place{"https://a.org/", "http://127.0.0.1.evil/", "http://127.0.0.1.evil/"},
                    Place{"https://a.org/", "//127.0.0.1.evil/x/../y", "https://127.0.0.1.evil/y"},
                    Place{"https://a.org/", "http://[::1].evil/", "https://a.org/"},
                    Place{"https://a.org/", "/caf\u00e9", "https://a.org/"}));

TEST(AppUrl, keepsAHostThatOnlyBeginsLikeAnAddress) {
    WebAppConfig config = sampleWebApp();
    config.origin = parseUrl("https://127.0.0.1.nip.io/base/").value();
    EXPECT_EQ(std::string(appUrl(config, "/x").buffer()), "https://127.0.0.1.nip.io/x");
    EXPECT_EQ(std::string(appUrl(config, "../y?z").buffer()), "https://127.0.0.1.nip.io/y?z");
}

TEST(AppCookie, livesForFiveYearsOnTheOriginsHost) {
    const platform::WallTime now{1700000000s};
    const auto cookie = appCookie(sampleWebApp("https://app.example.com:8443/x"), now);
    ASSERT_TRUE(cookie);
    EXPECT_EQ(cookie->name, "in_app");
    EXPECT_EQ(cookie->value, "1");
    EXPECT_EQ(cookie->domain, "app.example.com");
    EXPECT_EQ(cookie->path, "/");
    EXPECT_EQ(cookie->expires, now + 157'680'000s);
    EXPECT_TRUE(cookie->secure);
}

TEST(AppCookie, isSecureOnlyForAnHttpsOrigin) {
    EXPECT_FALSE(appCookie(sampleWebApp("http://app.example.com"), {})->secure);
    EXPECT_FALSE(appCookie(sampleWebApp("httpsx://app.example.com"), {})->secure);
}

TEST(AppCookie, isMissingWithoutAHostOrAName) {
    EXPECT_FALSE(appCookie(sampleWebApp("app:/start"), {}));
    WebAppConfig config = sampleWebApp();
    config.appCookieName.clear();
    EXPECT_FALSE(appCookie(config, {}));
}

struct Needs {
    std::string_view origin;
    std::set<std::string> authHosts;
    std::optional<std::string> host;
};

class SandboxNeed : public testing::TestWithParam<Needs> {};

TEST_P(SandboxNeed, isThatOfHostsWhichOtherComputersCanBe) {
    WebAppConfig config = sampleWebApp();
    config.origin = parseUrl(GetParam().origin).value();
    config.authHosts = GetParam().authHosts;
    EXPECT_EQ(hostThatNeedsSandbox(config), GetParam().host) << GetParam().origin;
}

INSTANTIATE_TEST_SUITE_P(
    Table, SandboxNeed,
    testing::Values(Needs{"http://127.0.0.1:8080", {}, std::nullopt},
                    Needs{"http://LocalHost", {}, std::nullopt},
                    Needs{"http://[::1]:80/", {"localhost"}, std::nullopt},
                    Needs{"https://app.example.com", {}, "app.example.com"},
                    Needs{"https://127.0.0.1.example.com", {}, "127.0.0.1.example.com"},
                    Needs{"https://localhost.example.com", {}, "localhost.example.com"},
                    Needs{"http://127.0.0.1", {"::1", "login.example.net"}, "login.example.net"},
                    Needs{"app:/start", {}, "app:/start"}));

TEST(WindowTitle, isThePagesUnlessThatIsEmpty) {
    EXPECT_EQ(titleFor(sampleWebApp(), "Shelves"), "Shelves");
    EXPECT_EQ(titleFor(sampleWebApp(), ""), "Example");
}

std::optional<LinkedMessage> receive(std::string_view body, std::string_view name = "bridge") {
    return linkedMessage(sampleWebApp(), name, boost::json::parse({body.data(), body.size()}));
}

TEST(LinkedMessages, carryTheTokenAndTheOriginUnchanged) {
    EXPECT_EQ(
        receive(R"({"action":"linked","token":"t 1\u0000","origin":"https://a.org:1/x?y"})"),
        (LinkedMessage{.token = std::string("t 1\0", 4), .origin = Url("https://a.org:1/x?y")}));
    EXPECT_EQ(receive(R"({"action":"linked","token":"","origin":"http://h","more":[1]})"),
              (LinkedMessage{.token = "", .origin = Url("http://h")}));
    const auto named =
        receive(R"({"action":"linked","token":"t","origin":"http://127.0.0.1.nip.io/"})");
    ASSERT_TRUE(named);
    EXPECT_EQ(hostOf(named->origin), "127.0.0.1.nip.io");
}

class OtherMessages : public testing::TestWithParam<std::string_view> {};

TEST_P(OtherMessages, areIgnored) {
    EXPECT_FALSE(receive(GetParam())) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(
    Table, OtherMessages,
    testing::Values("null", "true", "1", R"("linked")", "[]",
                    R"(["action","linked","token","t","origin","http://h"])", "{}",
                    R"({"token":"t","origin":"http://h"})",
                    R"({"action":"Linked","token":"t","origin":"http://h"})",
                    R"({"action":"linked ","token":"t","origin":"http://h"})",
                    R"({"action":null,"token":"t","origin":"http://h"})",
                    R"({"action":["linked"],"token":"t","origin":"http://h"})",
                    R"({"action":"linked","origin":"http://h"})",
                    R"({"action":"linked","token":1,"origin":"http://h"})",
                    R"({"action":"linked","token":{"t":1},"origin":"http://h"})",
                    R"({"action":"linked","token":null,"origin":"http://h"})",
                    R"({"action":"linked","token":"t"})",
                    R"({"action":"linked","token":"t","origin":null})",
                    R"({"action":"linked","token":"t","origin":["http://h"]})",
                    R"({"action":"linked","token":"t","origin":""})",
                    R"({"action":"linked","token":"t","origin":"not a url"})",
                    R"({"action":"linked","token":"t","origin":"/relative"})",
                    R"({"action":"linked","token":"t","origin":"http://["})",
                    R"({"action":"linked","token":"t","origin":"//a.org/"})",
                    R"({"action":"linked","token":"t","origin":"http://[::1].evil/"})",
                    R"({"action":"linked","token":"t","origin":"http://a.org:80x/"})"));

TEST(LinkedMessages, ofAnotherHandlerAreIgnored) {
    EXPECT_FALSE(receive(R"({"action":"linked","token":"t","origin":"http://h"})", "other"));
    EXPECT_FALSE(receive(R"({"action":"linked","token":"t","origin":"http://h"})", "Bridge"));
}

} // namespace
} // namespace tessel
