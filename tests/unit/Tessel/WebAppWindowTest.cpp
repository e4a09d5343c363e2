#include "mac/Tessel/WebApp/WebAppWindow.h"

#include "mac/Tessel/WebApp/WeakScriptHandler.h"
#include "mac/Tessel/WebApp/WebAppScripts.h"
#include "platform/testing/FakeDesktop.h"
#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/InMemorySystem.h"
#include "platform/testing/ManualScheduler.h"
#include "tests/unit/Tessel/SampleWebApp.h"

#include <boost/json/value.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>

namespace tessel {
namespace {

using namespace std::chrono_literals;
using platform::NavigationPolicy;
using platform::ScriptInjectionTime;
using testing::ElementsAre;
using testing::IsEmpty;

const boost::json::value linked = {
    {"action", "linked"}, {"token", "t1"}, {"origin", "https://app.example.com/"}};

class WebAppWindowTest : public testing::Test {
  protected:
    platform::testing::ManualScheduler scheduler;
    platform::testing::Events events;
    platform::testing::FakeApplication application{events};
    platform::testing::FakeWebWindows windows{events};
    platform::testing::FakeWorkspace workspace{events};
    platform::testing::RecordingLog log;
    std::vector<std::string> links;
    WebAppSandbox sandbox;
    std::shared_ptr<WebAppWindow> window;

    void open(const WebAppConfig& config = sampleWebApp()) {
        window = WebAppWindow::create(
            {application, windows, workspace, scheduler.clock(), log}, config,
            [this](const std::string& token, const Url& origin) {
                links.push_back(token + " " + std::string(origin.buffer()));
            },
            sandbox);
    }

    [[nodiscard]] NavigationPolicy navigate(const std::string& url, bool isLinkActivated) const {
        return windows.window->decideNavigationPolicy(
            {.url = url, .isLinkActivated = isLinkActivated});
    }
};

TEST_F(WebAppWindowTest, isBuiltHiddenWithTheCookieBeforeTheStartPage) {
    open();
    EXPECT_THAT(events, ElementsAre("window made", "window autosave ExampleMainWindow",
                                    "window handler bridge", "cookie in_app",
                                    "load https://app.example.com/start within 60 s"));
    EXPECT_FALSE(windows.window->isVisible());
}

TEST_F(WebAppWindowTest, asksForAWindowOfItsOwn) {
    open();
    const platform::WebWindowOptions& options = windows.options;
    EXPECT_EQ(options.title, "Example");
    EXPECT_EQ(options.contentWidth, 1100);
    EXPECT_EQ(options.contentHeight, 760);
    EXPECT_EQ(options.minimumWidth, 720);
    EXPECT_EQ(options.minimumHeight, 480);
    EXPECT_TRUE(options.closable && options.miniaturizable && options.resizable);
    EXPECT_TRUE(options.backForwardGestures);
    EXPECT_FALSE(options.tabbing);
    EXPECT_FALSE(options.inspectable);
    EXPECT_EQ(options.userAgent, "Agent/1");
    EXPECT_EQ(options.confirmTitles.accept, "OK");
    EXPECT_EQ(options.confirmTitles.refuse, "Cancel");
}

TEST_F(WebAppWindowTest, requiresASandboxForOtherComputersUnlessTheEmbedderDecides) {
    open();
    EXPECT_EQ(windows.options.sandbox, platform::Sandbox::required);
    WebAppConfig config = sampleWebApp("http://localhost:8080");
    config.authHosts.clear();
    open(config);
    EXPECT_EQ(windows.options.sandbox, platform::Sandbox::whereAvailable);
    sandbox.use = platform::Sandbox::off;
    open();
    EXPECT_EQ(windows.options.sandbox, platform::Sandbox::off);
}

TEST_F(WebAppWindowTest, saysWhyItIsNotShownWithoutASandbox) {
    std::string said;
    sandbox.onRefused = [&](const std::string& reason) { said = reason; };
    open();
    windows.window->onRefused("no namespaces");
    EXPECT_EQ(said, "no namespaces");
}

TEST_F(WebAppWindowTest, injectsTheBootstrapAtTheStartAndTheMintAtTheEnd) {
    open();
    ASSERT_EQ(windows.options.userScripts.size(), 2U);
    EXPECT_EQ(windows.options.userScripts[0].source, bootstrapScript(sampleWebApp()));
    EXPECT_EQ(windows.options.userScripts[0].when, ScriptInjectionTime::documentStart);
    EXPECT_EQ(windows.options.userScripts[1].source, mintScript(sampleWebApp()));
    EXPECT_EQ(windows.options.userScripts[1].when, ScriptInjectionTime::documentEnd);
}

TEST_F(WebAppWindowTest, plantsACookieThatExpiresFiveYearsFromNow) {
    open();
    ASSERT_EQ(windows.window->cookies.size(), 1U);
    EXPECT_EQ(windows.window->cookies[0].domain, "app.example.com");
    EXPECT_EQ(windows.window->cookies[0].expires, scheduler.clock().wallNow() + 157'680'000s);
}

TEST_F(WebAppWindowTest, loadsWithoutACookieThatCannotBeMade) {
    WebAppConfig config = sampleWebApp();
    config.appCookieName.clear();
    open(config);
    EXPECT_THAT(events, ElementsAre("window made", "window autosave ExampleMainWindow",
                                    "window handler bridge",
                                    "load https://app.example.com/start within 60 s"));
}

TEST_F(WebAppWindowTest, waitsForTheCookieBeforeItLoads) {
    windows.holdCookies = true;
    open();
    EXPECT_EQ(events.back(), "cookie in_app");
    ASSERT_EQ(windows.cookieCompletions.size(), 1U);
    windows.cookieCompletions[0]();
    EXPECT_EQ(events.back(), "load https://app.example.com/start within 60 s");
}

TEST_F(WebAppWindowTest, loadsNothingOnceItIsGone) {
    windows.holdCookies = true;
    open();
    events.clear();
    window.reset();
    windows.cookieCompletions[0]();
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(WebAppWindowTest, isNotKeptAliveByItsView) {
    windows.holdCookies = true;
    open();
    const std::weak_ptr<WebAppWindow> weak = window;
    window.reset();
    EXPECT_TRUE(weak.expired());
}

TEST_F(WebAppWindowTest, activatesTheApplicationAndComesToTheFront) {
    open();
    events.clear();
    window->present();
    EXPECT_THAT(events, ElementsAre("activate", "window front"));
}

TEST_F(WebAppWindowTest, loadsPathsOfTheOrigin) {
    open();
    events.clear();
    window->load("/books?sort=title");
    window->load("no url at all");
    EXPECT_THAT(events, ElementsAre("load https://app.example.com/books?sort=title within 60 s",
                                    "load https://app.example.com within 60 s"));
}

TEST_F(WebAppWindowTest, keepsLinksToTheOriginsHostOnAnyPort) {
    open();
    EXPECT_EQ(navigate("http://app.example.com:8081/x", true), NavigationPolicy::allow);
    EXPECT_THAT(workspace.opened, IsEmpty());
}

TEST_F(WebAppWindowTest, opensLinksToOtherHostsInTheBrowser) {
    open();
    EXPECT_EQ(navigate("https://elsewhere.org/x", true), NavigationPolicy::cancel);
    EXPECT_THAT(workspace.opened, ElementsAre("https://elsewhere.org/x"));
}

TEST_F(WebAppWindowTest, followsRedirectsFormsAndScriptsWhereverTheyLead) {
    open();
    EXPECT_EQ(navigate("https://elsewhere.org/x", false), NavigationPolicy::allow);
    EXPECT_THAT(workspace.opened, IsEmpty());
}

TEST_F(WebAppWindowTest, neverGivesTheViewWhatItCannotShow) {
    open();
    for (const auto* const url : {"mailto:ann@elsewhere.org", "x-app:go", "file:///etc/passwd",
                                  "ftp://app.example.com/x"}) {
        EXPECT_EQ(navigate(url, false), NavigationPolicy::cancel) << url;
        scheduler.advance(1s);
    }
    EXPECT_THAT(workspace.opened, ElementsAre("mailto:ann@elsewhere.org"));
}

TEST_F(WebAppWindowTest, opensOneAddressASecondHoweverOftenAPageAsks) {
    open();
    for (int request = 0; request < 100; ++request) {
        (void)navigate("mailto:ann@elsewhere.org", false);
        windows.window->onNewWindowRequest({.url = "https://elsewhere.org/"});
    }
    EXPECT_THAT(workspace.opened, ElementsAre("mailto:ann@elsewhere.org"));
}

TEST_F(WebAppWindowTest, neitherFollowsNorOpensLinksOfOtherSchemes) {
    open();
    for (const auto* const url : {"ftp://elsewhere.org/x", "file:///etc/passwd", "x-app:go"}) {
        EXPECT_EQ(navigate(url, true), NavigationPolicy::cancel) << url;
    }
    EXPECT_THAT(workspace.opened, IsEmpty());
}

TEST_F(WebAppWindowTest, opensWhatAsksForAnotherWindowInTheBrowser) {
    open();
    for (const auto* const url : {"https://app.example.com/help", "mailto:ann@elsewhere.org",
                                  "about:blank", "javascript:alert(1)", ""}) {
        windows.window->onNewWindowRequest({.url = url});
        scheduler.advance(1s);
    }
    EXPECT_THAT(workspace.opened,
                ElementsAre("https://app.example.com/help", "mailto:ann@elsewhere.org"));
    EXPECT_EQ(windows.made, 1);
}

TEST_F(WebAppWindowTest, takesThePagesTitleAndItsOwnWhenThatIsEmpty) {
    open();
    EXPECT_EQ(windows.window->title, "Example");
    windows.window->onDidFinishNavigation("Shelves");
    EXPECT_EQ(windows.window->title, "Shelves");
    windows.window->onDidFinishNavigation("");
    EXPECT_EQ(windows.window->title, "Example");
}

TEST_F(WebAppWindowTest, handsALinkedMessageToItsOwner) {
    open();
    windows.window->postMessage("bridge", linked);
    EXPECT_THAT(links, ElementsAre("t1 https://app.example.com/"));
}

TEST_F(WebAppWindowTest, ignoresIncompleteMessages) {
    open();
    windows.window->postMessage("bridge", {{"action", "linked"}, {"token", "t1"}});
    windows.window->postMessage("bridge", nullptr);
    windows.window->postMessage("bridge", "linked");
    EXPECT_THAT(links, IsEmpty());
}

TEST_F(WebAppWindowTest, dropsAMessageThatComesAfterItIsGone) {
    open();
    const platform::ScriptMessageHandler handler = windows.window->messageHandlers.at("bridge");
    window.reset();
    handler("bridge", linked);
    EXPECT_THAT(links, IsEmpty());
}

TEST_F(WebAppWindowTest, mayBeLetGoOfByTheOwnerThatItTells) {
    int told = 0;
    window = WebAppWindow::create({application, windows, workspace, scheduler.clock(), log},
                                  sampleWebApp(), [&](const std::string& token, const Url&) {
                                      window.reset();
                                      EXPECT_EQ(token, "t1");
                                      ++told;
                                  });
    windows.window->postMessage("bridge", linked);
    EXPECT_EQ(told, 1);
    EXPECT_EQ(window, nullptr);
}

TEST_F(WebAppWindowTest, managesWithoutAnOwnerWhoListens) {
    window = WebAppWindow::create({application, windows, workspace, scheduler.clock(), log},
                                  sampleWebApp(), nullptr);
    windows.window->postMessage("bridge", linked);
    EXPECT_THAT(links, IsEmpty());
}

TEST(WebAppWindowFromAnArchive, endsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(WebAppWindow::initFromCoder(), "init\\(coder:\\) unavailable");
}

TEST(WebAppUserAgent, isADesktopBrowsers) {
    EXPECT_EQ(WebAppWindow::defaultUserAgent,
              "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 (KHTML, like "
              "Gecko) Version/17.0 Safari/605.1.15");
}

static_assert(!std::is_default_constructible_v<WeakScriptHandler>);

} // namespace
} // namespace tessel
