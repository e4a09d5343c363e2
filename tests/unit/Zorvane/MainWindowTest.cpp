#include "mac/Zorvane/MainWindow.h"

#include "platform/testing/FakeDesktop.h"
#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/InMemorySystem.h"
#include "platform/testing/ManualScheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zorvane {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class MainWindowTest : public testing::Test {
  protected:
    platform::testing::ManualScheduler scheduler;
    platform::testing::Events events;
    platform::testing::FakeApplication application{events};
    platform::testing::FakeWebWindows windows{events};
    platform::testing::FakeWorkspace workspace{events};
    platform::testing::RecordingLog log;
    MainWindowController controller{windows, application, workspace, scheduler.clock(), log};

    void SetUp() override {
        controller.onVisibilityChange = [this](bool visible) {
            events.emplace_back(visible ? "visible" : "hidden");
        };
    }
    static ostra::Url server(std::uint16_t port = 8080) { return ostra::serverUrl(port); }
    void showServer() {
        controller.setServerAnswers(true);
        controller.currentURL = server();
        controller.show();
        events.clear();
    }
};

TEST_F(MainWindowTest, isMadeLazilyAndInOneOrder) {
    EXPECT_THAT(events, IsEmpty());
    EXPECT_FALSE(controller.hasWindow());
    controller.show();
    EXPECT_TRUE(controller.hasWindow());
    EXPECT_THAT(events,
                ElementsAre("window made", "window autosave OstraMainWindow", "window center",
                            "load html", "visible", "window front", "activate"));
}

TEST_F(MainWindowTest, asksForAPlainInspectableWindow) {
    controller.show();
    EXPECT_EQ(windows.options.title, "Zorvane");
    EXPECT_EQ(windows.options.contentWidth, 1200);
    EXPECT_EQ(windows.options.contentHeight, 800);
    EXPECT_TRUE(windows.options.closable && windows.options.miniaturizable &&
                windows.options.resizable && windows.options.inspectable);
    EXPECT_EQ(windows.options.confirmTitles.accept, "OK");
    EXPECT_EQ(windows.options.confirmTitles.refuse, "Cancel");
}

TEST_F(MainWindowTest, showsExactlyTheStartingPage) {
    controller.show();
    EXPECT_EQ(windows.window->html,
              "<!doctype html><meta charset=\"utf-8\">\n<style>\n  body { display: flex; "
              "align-items: center; justify-content: center;\n         height: 100vh; margin: 0; "
              "background: #111; color: #ddd;\n         font: 15px -apple-system, sans-serif; "
              "}\n</style>\n<body>Starting Zorvane&hellip;</body>");
}

TEST_F(MainWindowTest, loadsTheServerOnceItIsKnown) {
    controller.show();
    events.clear();
    controller.setServerAnswers(true);
    controller.currentURL = server();
    controller.load(*controller.currentURL);
    EXPECT_THAT(events, ElementsAre("load http://127.0.0.1:8080/ within 60 s"));
}

TEST_F(MainWindowTest, loadsAKnownServerOnTheFirstShow) {
    controller.setServerAnswers(true);
    controller.currentURL = server();
    controller.show();
    EXPECT_EQ(events.back(), "load http://127.0.0.1:8080/ within 60 s");
}

TEST_F(MainWindowTest, loadsTheSameAddressOnlyOnce) {
    showServer();
    controller.show();
    EXPECT_THAT(events, ElementsAre("visible", "window front", "activate"));
    EXPECT_EQ(windows.made, 1);
}

TEST_F(MainWindowTest, loadsANewAddressOnTheNextShow) {
    showServer();
    controller.currentURL = server(9090);
    controller.show();
    windows.window->onDidFinishNavigation("");
    EXPECT_EQ(events.back(), "load http://127.0.0.1:9090/ within 60 s");
}

TEST_F(MainWindowTest, reportsClosingAndShowingAndKeepsThePage) {
    showServer();
    windows.window->close();
    controller.show();
    EXPECT_THAT(events, ElementsAre("hidden", "visible", "window front", "activate"));
}

TEST_F(MainWindowTest, remembersAnAddressThatWasLoadedBeforeThereWasAWindow) {
    controller.setServerAnswers(true);
    controller.currentURL = server();
    controller.load(server());
    EXPECT_THAT(events, IsEmpty());
    controller.show();
    EXPECT_EQ(events.back(), "load http://127.0.0.1:8080/ within 60 s")
        << "a new window starts with nothing loaded";
}

TEST_F(MainWindowTest, worksWithoutAnyoneListening) {
    controller.onVisibilityChange = nullptr;
    controller.show();
    windows.window->close();
    EXPECT_EQ(windows.made, 1);
}

TEST_F(MainWindowTest, ordersOutOnlyWhatExists) {
    controller.orderOut();
    EXPECT_THAT(events, IsEmpty());
    controller.show();
    events.clear();
    controller.orderOut();
    EXPECT_THAT(events, ElementsAre("window out"));
}

TEST_F(MainWindowTest, reloadsAPageWhoseWebProcessDiedAndClosesAtTheThirdDeathInAMinute) {
    showServer();
    const auto crash = [&] {
        events.clear();
        windows.window->onWebProcessTerminated();
        return events;
    };
    const platform::testing::Events reload{"reload"};
    EXPECT_EQ(crash(), reload);
    scheduler.advance(10s);
    EXPECT_EQ(crash(), reload);
    scheduler.advance(50s); // a minute after the first one
    EXPECT_EQ(crash(), reload);
    EXPECT_THAT(log.lines, IsEmpty());
    EXPECT_EQ(crash(), (platform::testing::Events{"window out", "hidden"}));
    EXPECT_EQ(log.lines.size(), 1U);
    events.clear();
    controller.show();
    EXPECT_EQ(events.back(), "load http://127.0.0.1:8080/ within 60 s")
        << "opening the window again tries once more";
    EXPECT_EQ(crash(), reload);
}

TEST_F(MainWindowTest, showsTheStartingPageAfterItWasGivenUpWithoutAnAddress) {
    controller.show();
    for (std::size_t death = 0; death < MainWindowController::deathsPerMinute; ++death) {
        windows.window->onWebProcessTerminated();
    }
    EXPECT_FALSE(windows.window->isVisible());
    events.clear();
    controller.show();
    EXPECT_EQ(events.back(), "load html");
}

// --- while no server of ours answers
// ---------------------------------------------------------------

TEST_F(MainWindowTest, isCutOffFromTheNetworkUntilTheServerAnswers) {
    controller.show();
    EXPECT_FALSE(windows.window->networkAllowed);
    controller.setServerAnswers(true);
    controller.load(server());
    EXPECT_TRUE(windows.window->networkAllowed);
    controller.setServerAnswers(false);
    EXPECT_FALSE(windows.window->networkAllowed);
    controller.setServerAnswers(true);
    controller.load(server());
    EXPECT_TRUE(windows.window->networkAllowed);
    EXPECT_EQ(events.back(), "load http://127.0.0.1:8080/ within 60 s") << "its own page may ask";
}

// A page that asks without end would ask whoever has its port now.
TEST_F(MainWindowTest, hasNoNetworkBeforeThePageOfAnotherAddressHasGone) {
    showServer();
    controller.setServerAnswers(false);
    controller.setServerAnswers(true);
    controller.load(server(9090));
    EXPECT_THAT(events, ElementsAre("load html"));
    EXPECT_EQ(windows.window->html, MainWindowController::startingPage);
    EXPECT_FALSE(windows.window->networkAllowed);
    windows.window->onDidFinishNavigation("");
    EXPECT_TRUE(windows.window->networkAllowed);
    const platform::testing::Events moved{"load html", "load http://127.0.0.1:9090/ within 60 s"};
    EXPECT_EQ(events, moved);
    EXPECT_FALSE(windows.window->onDidFinishNavigation) << "which would cost memory";
}

// Another page of its own would come instead of the starting page, and without the network fail.
TEST_F(MainWindowTest, letsNoPageNavigateOnceItHasToGo) {
    showServer();
    controller.setServerAnswers(false);
    controller.setServerAnswers(true);
    controller.load(server(9090));
    const platform::NavigationAction again{.url = "http://127.0.0.1:8080/"};
    EXPECT_EQ(windows.window->decideNavigationPolicy(again), platform::NavigationPolicy::cancel);
    windows.window->onDidFinishNavigation("");
    EXPECT_EQ(windows.window->decideNavigationPolicy({.url = "http://127.0.0.1:9090/"}),
              platform::NavigationPolicy::allow);
}

TEST_F(MainWindowTest, loadsNothingAfterThePageThatHasGoneWhenTheServerHasGoneAgain) {
    showServer();
    controller.setServerAnswers(false);
    controller.setServerAnswers(true);
    controller.load(server(9090));
    controller.setServerAnswers(false);
    windows.window->onDidFinishNavigation("");
    EXPECT_THAT(events, ElementsAre("load html"));
    EXPECT_FALSE(windows.window->networkAllowed);
    controller.setServerAnswers(true);
    controller.load(server(9090));
    EXPECT_EQ(events.back(), "load http://127.0.0.1:9090/ within 60 s");
    EXPECT_TRUE(windows.window->networkAllowed);
}

TEST_F(MainWindowTest, waitsForThePageToGoWhoeverIsNext) {
    showServer();
    for (const std::uint16_t port : std::initializer_list<std::uint16_t>{9090, 9091, 9091}) {
        controller.setServerAnswers(false);
        controller.setServerAnswers(true);
        controller.load(server(port));
        EXPECT_EQ(events.back(), "load html");
        EXPECT_FALSE(windows.window->networkAllowed);
    }
    windows.window->onDidFinishNavigation("");
    EXPECT_EQ(events.back(), "load http://127.0.0.1:9091/ within 60 s");
}

TEST_F(MainWindowTest, loadsTheNextPageWhenTheOneBeforeDiesOnItsWay) {
    showServer();
    controller.setServerAnswers(false);
    controller.setServerAnswers(true);
    controller.load(server(9090));
    windows.window->onWebProcessTerminated();
    EXPECT_TRUE(windows.window->networkAllowed);
    EXPECT_THAT(events, ElementsAre("load html", "load http://127.0.0.1:9090/ within 60 s"));
}

TEST_F(MainWindowTest, isMadeWithTheNetworkWhenTheServerAnswersAlready) {
    showServer();
    EXPECT_TRUE(windows.window->networkAllowed);
}

TEST_F(MainWindowTest, keepsThePageAndLoadsNothingWhileTheServerIsGone) {
    showServer();
    controller.setServerAnswers(false);
    controller.currentURL = server(9090);
    controller.show();
    EXPECT_THAT(events, ElementsAre("visible", "window front", "activate"));
    controller.setServerAnswers(true);
    controller.show();
    windows.window->onDidFinishNavigation("");
    EXPECT_EQ(events.back(), "load http://127.0.0.1:9090/ within 60 s");
}

TEST_F(MainWindowTest, letsNoPageNavigateWhileTheServerIsGone) {
    using platform::NavigationPolicy;
    showServer();
    const auto& decide = windows.window->decideNavigationPolicy;
    const platform::NavigationAction toServer{.url = "http://127.0.0.1:8080/",
                                              .isLinkActivated = true};
    EXPECT_EQ(decide(toServer), NavigationPolicy::allow);
    controller.setServerAnswers(false);
    EXPECT_EQ(decide(toServer), NavigationPolicy::cancel);
    EXPECT_EQ(decide({.url = "https://example.com/"}), NavigationPolicy::cancel);
    EXPECT_EQ(decide({.url = "about:blank"}), NavigationPolicy::allow) << "the starting page";
}

TEST_F(MainWindowTest, showsTheStartingPageWhenAWebProcessDiesWhileTheServerIsGone) {
    showServer();
    controller.setServerAnswers(false);
    windows.window->onWebProcessTerminated();
    EXPECT_THAT(events, ElementsAre("load html"));
    EXPECT_EQ(windows.window->html, MainWindowController::startingPage);
}

TEST_F(MainWindowTest, showsTheStartingPageAgainWhenItsWebProcessDied) {
    controller.show();
    events.clear();
    windows.window->onWebProcessTerminated();
    EXPECT_THAT(events, ElementsAre("load html"));
    EXPECT_EQ(windows.window->html, MainWindowController::startingPage);
}

struct Leads {
    platform::NavigationAction action;
    bool allowed;
    bool opened;
};

class WhereAPageLeads : public MainWindowTest, public testing::WithParamInterface<Leads> {};

TEST_P(WhereAPageLeads, isShownOrOpenedElsewhereOrDropped) {
    showServer();
    const auto& [action, allowed, opened] = GetParam();
    EXPECT_EQ(windows.window->decideNavigationPolicy(action),
              allowed ? platform::NavigationPolicy::allow : platform::NavigationPolicy::cancel);
    EXPECT_EQ(workspace.opened.size(), opened ? 1U : 0U);
}

using platform::NavigationFrame;
INSTANTIATE_TEST_SUITE_P(
    Table, WhereAPageLeads,
    testing::Values(
        Leads{{.url = "http://127.0.0.1:8080/x", .isLinkActivated = true}, true, false},
        Leads{{.url = "http://localhost:9/x", .frame = NavigationFrame::main}, true, false},
        Leads{{.url = "http://[::1]:9/x", .frame = NavigationFrame::main}, true, false},
        Leads{{.url = "https://elsewhere.org/", .isLinkActivated = true}, false, true},
        Leads{{.url = "https://elsewhere.org/", .frame = NavigationFrame::main}, false, true},
        Leads{{.url = "https://elsewhere.org/"}, true, false},
        Leads{{.url = "https://elsewhere.org/", .frame = NavigationFrame::other}, true, false},
        Leads{{.url = "https://127.0.0.1.elsewhere.org/", .isLinkActivated = true}, false, true},
        Leads{{.url = "data:text/html,x"}, true, false}, Leads{{.url = "about:blank"}, true, false},
        Leads{{.url = "mailto:ann@elsewhere.org"}, false, true},
        Leads{{.url = "x-app:go"}, false, true},
        Leads{{.url = "file:///etc/passwd", .isLinkActivated = true}, false, false}));

TEST_F(MainWindowTest, opensOneAddressASecondHoweverOftenAPageAsks) {
    showServer();
    for (int request = 0; request < 100; ++request) {
        (void)windows.window->decideNavigationPolicy({.url = "mailto:ann@elsewhere.org"});
        windows.window->onNewWindowRequest({.url = "https://elsewhere.org/"});
    }
    EXPECT_THAT(workspace.opened, ElementsAre("mailto:ann@elsewhere.org"));
    EXPECT_EQ(log.lines.size(), 1U);
}

TEST_F(MainWindowTest, opensWhatAsksForAnotherWindowInTheBrowser) {
    showServer();
    windows.window->onNewWindowRequest({.url = "http://127.0.0.1:8080/help"});
    windows.window->onNewWindowRequest({.url = "about:blank"});
    EXPECT_THAT(workspace.opened, ElementsAre("http://127.0.0.1:8080/help"));
    EXPECT_EQ(windows.made, 1);
}

TEST_F(MainWindowTest, opensNothingElsewhereWhileNoServerOfOursAnswers) {
    showServer();
    controller.setServerAnswers(false);
    EXPECT_EQ(windows.window->decideNavigationPolicy({.url = "mailto:ann@elsewhere.org"}),
              platform::NavigationPolicy::cancel);
    windows.window->onNewWindowRequest({.url = "https://elsewhere.org/"});
    EXPECT_THAT(workspace.opened, IsEmpty());
}

} // namespace
} // namespace zorvane
