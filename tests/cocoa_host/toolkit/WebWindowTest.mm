// NSWindow and WKWebView: how they are set up, what their delegates answer, and that nothing of
// them is left behind.
#include "platform/cocoa/CocoaWebWindow.h"
#include "tests/cocoa_host/Turning.h"
#include "tests/cocoa_host/frameworks/doubles/Modal.h"
#include "tests/cocoa_host/frameworks/doubles/WebKitHost.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using cocoa_host::endSheet;
using cocoa_host::Navigation;
using cocoa_host::settle;
using cocoa_host::sheetOwner;
using cocoa_host::TargetFrame;
using cocoa_host::textOf;
using cocoa_host::turnUntil;
using platform::NavigationAction;
using platform::NavigationFrame;
using platform::NavigationPolicy;
using platform::ScriptInjectionTime;
using platform::WallTime;
using platform::WebWindowOptions;
using platform::cocoa::CocoaWebWindow;
using testing::ElementsAre;

constexpr auto otherNavigation = static_cast<WKNavigationType>(-1);

class CocoaWebWindowTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { (void)NSApplication.sharedApplication; }
    void SetUp() override {
        cocoa_host::miscalledHandlers() = 0;
        make({.title = "Title", .contentWidth = 640, .contentHeight = 480});
    }
    void TearDown() override {
        @autoreleasepool {
            window.reset();
        }
        settle();
        EXPECT_EQ(cocoa_host::miscalledHandlers(), 0);
    }

    void make(const WebWindowOptions& options) {
        @autoreleasepool {
            window = std::make_unique<CocoaWebWindow>(options);
        }
    }
    static WKWebView* view() { return WKWebView.hostLatest; }
    static NSWindow* native() { return view().window; }

    std::unique_ptr<CocoaWebWindow> window;
};

TEST_F(CocoaWebWindowTest, isHiddenUntilItIsShown) {
    EXPECT_FALSE(window->isVisible());
    window->makeKeyAndOrderFront();
    EXPECT_TRUE(window->isVisible());
    window->orderOut();
    EXPECT_FALSE(window->isVisible());
}

TEST_F(CocoaWebWindowTest, hasTheTitleAndTheSizeOfItsContent) {
    EXPECT_EQ(textOf(native().title), "Title");
    EXPECT_EQ(view().frame.size.width, 640);
    EXPECT_EQ(view().frame.size.height, 480);
    EXPECT_EQ(native().contentView, view());
    window->setTitle("Another");
    EXPECT_EQ(textOf(native().title), "Another");
}

TEST_F(CocoaWebWindowTest, hasTheButtonsThatWereAskedFor) {
    constexpr NSWindowStyleMask all = NSWindowStyleMaskTitled | NSWindowStyleMaskClosable |
                                      NSWindowStyleMaskMiniaturizable | NSWindowStyleMaskResizable;
    EXPECT_EQ(native().styleMask, all);
    make({.title = "Title", .closable = false});
    EXPECT_EQ(native().styleMask, all & ~NSWindowStyleMaskClosable);
    make({.title = "Title", .miniaturizable = false});
    EXPECT_EQ(native().styleMask, all & ~NSWindowStyleMaskMiniaturizable);
    make({.title = "Title", .resizable = false});
    EXPECT_EQ(native().styleMask, all & ~NSWindowStyleMaskResizable);
}

TEST_F(CocoaWebWindowTest, hasASmallestSizeIfOneWasGiven) {
    const CGFloat usual = native().minSize.width;
    make({.title = "Title",
          .contentWidth = 640,
          .contentHeight = 480,
          .minimumWidth = 720,
          .minimumHeight = 481});
    EXPECT_EQ(native().minSize.width, 720);
    EXPECT_EQ(native().minSize.height, 481);
    EXPECT_NE(usual, 720);
}

TEST_F(CocoaWebWindowTest, isATabOfOthersUnlessThatWasExcluded) {
    EXPECT_NE(native().tabbingMode, NSWindowTabbingModeDisallowed);
    make({.title = "Title", .tabbing = false});
    EXPECT_EQ(native().tabbingMode, NSWindowTabbingModeDisallowed);
}

TEST_F(CocoaWebWindowTest, remembersItsFrameUnderTheNameItIsGiven) {
    window->setFrameAutosaveName("ZorvaneTestWindow");
    EXPECT_EQ(textOf(native().frameAutosaveName), "ZorvaneTestWindow");
}

TEST_F(CocoaWebWindowTest, isPutInTheMiddleOfTheScreen) {
    const NSRect before = native().frame;
    window->center();
    const NSRect after = native().frame;
    EXPECT_FALSE(before.origin.x == after.origin.x && before.origin.y == after.origin.y);
}

TEST_F(CocoaWebWindowTest, configuresItsView) {
    EXPECT_FALSE(view().allowsBackForwardNavigationGestures);
    EXPECT_FALSE(view().inspectable);
    EXPECT_EQ(view().customUserAgent, nil);
    make({.title = "Title",
          .inspectable = true,
          .backForwardGestures = true,
          .userAgent = "Agent/1",
          .userScripts = {{.source = "one"},
                          {.source = "two", .when = ScriptInjectionTime::documentEnd}}});
    EXPECT_TRUE(view().allowsBackForwardNavigationGestures);
    EXPECT_TRUE(view().inspectable);
    EXPECT_EQ(textOf(view().customUserAgent), "Agent/1");
    EXPECT_EQ(view().configuration.websiteDataStore, [WKWebsiteDataStore defaultDataStore]);
    NSArray<WKUserScript*>* const scripts = view().configuration.userContentController.hostScripts;
    ASSERT_EQ(scripts.count, NSUInteger{2});
    EXPECT_EQ(textOf(scripts[0].hostSource), "one");
    EXPECT_EQ(scripts[0].hostInjectionTime, WKUserScriptInjectionTimeAtDocumentStart);
    EXPECT_TRUE(scripts[0].hostMainFrameOnly);
    EXPECT_EQ(textOf(scripts[1].hostSource), "two");
    EXPECT_EQ(scripts[1].hostInjectionTime, WKUserScriptInjectionTimeAtDocumentEnd);
}

TEST_F(CocoaWebWindowTest, isKeptWhenTheUserClosesIt) {
    std::vector<bool> visibleWhenTold;
    int told = 0;
    window->onWillClose = [&] { ++told; };
    window->makeKeyAndOrderFront();
    @autoreleasepool {
        [native() performClose:nil];
    }
    EXPECT_EQ(told, 1);
    EXPECT_FALSE(window->isVisible());
    window->makeKeyAndOrderFront();
    EXPECT_TRUE(window->isVisible());
}

TEST_F(CocoaWebWindowTest, leavesNothingWhenItEnds) {
    __weak WKWebView* leftView = nil;
    __weak NSWindow* leftWindow = nil;
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = held;
    @autoreleasepool {
        window->makeKeyAndOrderFront();
        leftView = view();
        leftWindow = native();
        window->addScriptMessageHandler("bridge", [held](const auto&, const auto&) {});
        held.reset();
        window.reset();
    }
    settle();
    @autoreleasepool {
        EXPECT_EQ(leftView, nil);
        EXPECT_EQ(leftWindow, nil);
    }
    EXPECT_TRUE(watched.expired());
}

TEST_F(CocoaWebWindowTest, goesFromTheScreenWhenItEndsWhoeverStillHasItsWindow) {
    window->makeKeyAndOrderFront();
    NSWindow* const left = native();
    ASSERT_TRUE(left.visible);
    window.reset();
    EXPECT_FALSE(left.visible);
}

TEST_F(CocoaWebWindowTest, tellsNobodyOfItsOwnEnd) {
    int told = 0;
    window->onWillClose = [&] { ++told; };
    window->makeKeyAndOrderFront();
    window.reset();
    EXPECT_EQ(told, 0);
}

TEST_F(CocoaWebWindowTest, asksBeforeItNavigates) {
    EXPECT_TRUE([view() hostNavigateTo:@"https://a.example/" type:WKNavigationTypeLinkActivated]);
    std::vector<std::string> asked;
    auto answer = NavigationPolicy::cancel;
    window->decideNavigationPolicy = [&](const NavigationAction& action) {
        asked.push_back(action.url + (action.isLinkActivated ? " by a link" : ""));
        return answer;
    };
    EXPECT_FALSE([view() hostNavigateTo:@"https://a.example/x" type:WKNavigationTypeLinkActivated]);
    answer = NavigationPolicy::allow;
    EXPECT_TRUE([view() hostNavigateTo:@"https://a.example/y" type:otherNavigation]);
    EXPECT_TRUE([view() hostNavigateTo:nil type:otherNavigation]);
    EXPECT_THAT(asked, ElementsAre("https://a.example/x by a link", "https://a.example/y", ""));
}

TEST_F(CocoaWebWindowTest, saysWhoseNavigationItIsAndWhere) {
    std::optional<NavigationAction> asked;
    window->decideNavigationPolicy = [&](const NavigationAction& action) {
        asked = action;
        return NavigationPolicy::allow;
    };
    (void)[view() hostDecide:{.url = @"https://a.example/"}];
    ASSERT_TRUE(asked);
    EXPECT_TRUE(asked->isLinkActivated);
    EXPECT_FALSE(asked->isUserGesture);
    EXPECT_EQ(asked->frame, NavigationFrame::unknown);
    (void)[view() hostDecide:{.url = @"https://a.example/",
                              .type = otherNavigation,
                              .frame = TargetFrame::main,
                              .button = 1}];
    EXPECT_FALSE(asked->isLinkActivated);
    EXPECT_TRUE(asked->isUserGesture);
    EXPECT_EQ(asked->frame, NavigationFrame::main);
    (void)[view() hostDecide:{.url = @"https://a.example/", .frame = TargetFrame::other}];
    EXPECT_EQ(asked->frame, NavigationFrame::other);
}

TEST_F(CocoaWebWindowTest, turnsAnAllowedNavigationIntoADownloadWhereThePageSaysSo) {
    auto answer = NavigationPolicy::allow;
    window->decideNavigationPolicy = [&](const NavigationAction&) { return answer; };
    const Navigation file{.url = @"https://a.example/song.ogg", .isDownload = true};
    EXPECT_EQ([view() hostDecide:file], WKNavigationActionPolicyDownload);
    EXPECT_EQ([view() hostDecide:{.url = @"https://a.example/"}], WKNavigationActionPolicyAllow);
    answer = NavigationPolicy::cancel;
    EXPECT_EQ([view() hostDecide:file], WKNavigationActionPolicyCancel);
}

TEST_F(CocoaWebWindowTest, savesRepliesThatAreMeantForItOrCannotBeShown) {
    const auto decide = [](NSDictionary* fields, BOOL mainFrame, BOOL canBeShown) {
        return [view() hostDecideReplyOf:fields mainFrame:mainFrame canBeShown:canBeShown];
    };
    constexpr auto shown = WKNavigationResponsePolicyAllow;
    constexpr auto saved = WKNavigationResponsePolicyDownload;
    NSString* const field = @"Content-Disposition";
    EXPECT_EQ(decide(nil, YES, YES), shown); // not HTTP's
    EXPECT_EQ(decide(@{}, YES, YES), shown);
    EXPECT_EQ(decide(@{field : @"Inline; filename=a"}, YES, YES), shown);
    EXPECT_EQ(decide(@{field : @"attachment; filename=a"}, YES, YES), saved);
    EXPECT_EQ(decide(@{field : @"attachment"}, NO, YES), saved);
    EXPECT_EQ(decide(@{}, YES, NO), saved);
    EXPECT_EQ(decide(@{}, NO, NO), shown); // what a page has in it, WebKit deals with
}

TEST_F(CocoaWebWindowTest, hasNoNetworkUntilItIsAllowedAgain) {
    const auto rules = [] { return view().configuration.userContentController.hostRuleListCount; };
    window->setNetworkAllowed(false);
    EXPECT_TRUE(turnUntil([&] { return rules() == 1; }));
    window->setNetworkAllowed(true);
    EXPECT_EQ(rules(), 0U);
    window->setNetworkAllowed(false); // the rules are there by now
    EXPECT_EQ(rules(), 1U);
    window->setNetworkAllowed(false);
    EXPECT_EQ(rules(), 1U);
}

TEST_F(CocoaWebWindowTest, mayBeAllowedOrEndWhileItsRulesAreMade) {
    WKUserContentController* const controller = view().configuration.userContentController;
    window->setNetworkAllowed(false);
    window->setNetworkAllowed(true);
    settle();
    EXPECT_EQ(controller.hostRuleListCount, 0U);
    make({.title = "Another"});
    WKUserContentController* const another = view().configuration.userContentController;
    @autoreleasepool {
        window->setNetworkAllowed(false);
        window.reset();
    }
    settle();
    EXPECT_EQ(another.hostRuleListCount, 0U);
}

TEST_F(CocoaWebWindowTest, allowsNavigationsOnceItIsGone) {
    id<WKNavigationDelegate> delegate = view().navigationDelegate;
    window->decideNavigationPolicy = [](const NavigationAction&) {
        return NavigationPolicy::cancel;
    };
    WKWebView* const left = view();
    window.reset();
    __block int allowed = 0;
    [delegate webView:left
        decidePolicyForNavigationAction:[[WKNavigationAction alloc] init]
                        decisionHandler:^(WKNavigationActionPolicy policy) {
                          allowed += policy == WKNavigationActionPolicyAllow ? 1 : 0;
                        }];
    EXPECT_EQ(allowed, 1);
}

TEST_F(CocoaWebWindowTest, reportsRequestsForOtherWindowsAndMakesNone) {
    [view() hostAskForWindow:@"https://b.example/"];
    std::string asked;
    window->onNewWindowRequest = [&](const NavigationAction& action) { asked = action.url; };
    [view() hostAskForWindow:@"https://b.example/x"];
    EXPECT_EQ(asked, "https://b.example/x");
}

TEST_F(CocoaWebWindowTest, reportsTheEndOfItsWebProcess) {
    [view() hostEndWebProcess];
    int ends = 0;
    window->onWebProcessTerminated = [&] { ++ends; };
    [view() hostEndWebProcess];
    EXPECT_EQ(ends, 1);
}

TEST_F(CocoaWebWindowTest, loadsThePageAgainOrAsksForItAgainWhenNoneCame) {
    int loads = 0;
    window->onDidFinishNavigation = [&](const std::string& /*title*/) { ++loads; };
    window->loadUrl("https://a.example/", std::chrono::seconds(7));
    window->reload();
    EXPECT_EQ(view().hostReloads, 0U);
    EXPECT_EQ(view().hostRequests.count, 2U);
    ASSERT_TRUE(turnUntil([&] { return loads == 2; }));
    window->reload();
    EXPECT_EQ(view().hostReloads, 1U);
    EXPECT_EQ(view().hostRequests.count, 2U);
    ASSERT_TRUE(turnUntil([&] { return loads == 3; }));
}

TEST_F(CocoaWebWindowTest, doesNotGoBackFromAPageGivenAsTextToTheAddressBefore) {
    int loads = 0;
    window->onDidFinishNavigation = [&](const std::string& /*title*/) { ++loads; };
    window->loadUrl("https://a.example/", std::chrono::seconds(7));
    window->loadHtml("<p>Starting</p>");
    window->reload();
    EXPECT_EQ(view().hostRequests.count, 1U);
    EXPECT_TRUE(turnUntil([&] { return loads == 2; }));
}

TEST_F(CocoaWebWindowTest, reportsEveryLoadWithItsTitle) {
    std::vector<std::string> titles;
    window->onDidFinishNavigation = [&](const std::string& title) { titles.push_back(title); };
    window->loadUrl("https://a.example/", std::chrono::seconds(7));
    ASSERT_TRUE(turnUntil([&] { return titles.size() == 1; }));
    window->loadHtml("<p>text</p>");
    ASSERT_TRUE(turnUntil([&] { return titles.size() == 2; }));
    EXPECT_THAT(titles, ElementsAre("a loaded page", ""));
    EXPECT_EQ(textOf(view().hostRequests[0].URL.absoluteString), "https://a.example/");
    EXPECT_EQ(view().hostRequests[0].timeoutInterval, 7);
    EXPECT_EQ(view().hostRequests[0].cachePolicy, NSURLRequestUseProtocolCachePolicy);
    EXPECT_EQ(textOf(view().hostPages[0]), "<p>text</p>");
}

TEST_F(CocoaWebWindowTest, loadsNothingWhereThereIsNoAddress) {
    window->loadUrl("", std::chrono::seconds(7));
    window->loadUrl("no address %%%", std::chrono::seconds(7));
    EXPECT_EQ(view().hostRequests.count, NSUInteger{0});
}

TEST_F(CocoaWebWindowTest, takesATitleThatIsNoTextForNone) {
    std::vector<std::string> titles;
    window->onDidFinishNavigation = [&](const std::string& title) { titles.push_back(title); };
    [view() hostFinishWithTitle:@17];
    [view() hostFinishWithTitle:nil]; // the question itself fails: the page is gone already
    settle();
    EXPECT_THAT(titles, ElementsAre(""));
}

TEST_F(CocoaWebWindowTest, mayEndWhileItsTitleIsAskedFor) {
    int told = 0;
    @autoreleasepool {
        window->onDidFinishNavigation = [&](const std::string&) { ++told; };
        [view() hostFinishWithTitle:@"late"];
        window.reset();
    }
    settle();
    EXPECT_EQ(told, 0);
}

TEST_F(CocoaWebWindowTest, deliversWhatAPagePosts) {
    std::vector<std::string> heard;
    window->addScriptMessageHandler("bridge", [&](const std::string& name, const auto& body) {
        heard.push_back(name + " " + boost::json::serialize(body));
    });
    window->addScriptMessageHandler("other", [&](const auto&, const auto&) { heard.clear(); });
    [view() hostPostMessage:@{@"a" : @[ @"b", NSNull.null, @YES ]} name:@"bridge"];
    EXPECT_THAT(heard, ElementsAre(R"(bridge {"a":["b",null,true]})"));
}

TEST_F(CocoaWebWindowTest, mayEndInsideAMessageHandler) {
    auto held = std::make_shared<std::string>("still there");
    std::string seen;
    window->addScriptMessageHandler("bridge", [this, &seen, held](const auto&, const auto&) {
        @autoreleasepool {
            window.reset();
        }
        seen = *held;
    });
    held.reset();
    WKWebView* const kept = view();
    [kept hostPostMessage:nil name:@"bridge"];
    EXPECT_EQ(seen, "still there");
    EXPECT_EQ(kept.configuration.userContentController.hostHandlerCount, NSUInteger{0});
}

TEST_F(CocoaWebWindowTest, plantsCookies) {
    int done = 0;
    NSMutableArray<NSHTTPCookie*>* const cookies =
        [WKWebsiteDataStore defaultDataStore].httpCookieStore.hostCookies;
    [cookies removeAllObjects];
    constexpr std::chrono::seconds expiry(4'000'000'000);
    window->setCookie({.name = "name",
                       .value = "1",
                       .domain = "127.0.0.1",
                       .path = "/below",
                       .expires = WallTime(expiry),
                       .secure = true},
                      [&] { ++done; });
    ASSERT_TRUE(turnUntil([&] { return done == 1; }));
    window->setCookie({.name = "plain",
                       .value = "2",
                       .domain = "127.0.0.1",
                       .path = "/",
                       .expires = WallTime(expiry)},
                      [&] { ++done; });
    ASSERT_TRUE(turnUntil([&] { return done == 2; }));
    ASSERT_EQ(cookies.count, NSUInteger{2});
    EXPECT_EQ(textOf(cookies[0].name), "name");
    EXPECT_EQ(textOf(cookies[0].value), "1");
    EXPECT_EQ(textOf(cookies[0].domain), "127.0.0.1");
    EXPECT_EQ(textOf(cookies[0].path), "/below");
    EXPECT_EQ(cookies[0].expiresDate.timeIntervalSince1970, expiry.count());
    EXPECT_TRUE(cookies[0].secure);
    EXPECT_FALSE(cookies[1].secure);
}

TEST_F(CocoaWebWindowTest, answersForACookieThatTheSystemRefuses) {
    int done = 0;
    window->setCookie({.name = "name", .value = "1", .domain = "", .path = ""}, [&] { ++done; });
    settle();
    EXPECT_EQ(done, 1);
}

TEST_F(CocoaWebWindowTest, showsAPagesAlertAsASheetThatLetsTheApplicationQuit) {
    [view() hostAlert:@"hello"];
    ASSERT_NE(native().attachedSheet, nil);
    EXPECT_EQ(textOf([sheetOwner(native()) messageText]), "hello");
    EXPECT_FALSE(native().attachedSheet.preventsApplicationTerminationWhenModal);
    endSheet(native(), NSAlertFirstButtonReturn);
    EXPECT_EQ(native().attachedSheet, nil);
}

TEST_F(CocoaWebWindowTest, asksForAPageAndPassesTheAnswerOn) {
    make({.title = "Title", .confirmTitles = {.accept = "Yes", .refuse = "No"}});
    for (const int button : {0, 1}) {
        __block int answer = -1;
        [view() hostConfirm:@"sure?"
                     answer:^(BOOL agreed) {
                       answer = agreed;
                     }];
        EXPECT_EQ(textOf([sheetOwner(native()) messageText]), "sure?");
        NSArray<NSButton*>* const buttons = [sheetOwner(native()) buttons];
        ASSERT_EQ(buttons.count, NSUInteger{2});
        EXPECT_EQ(textOf(buttons[0].title), "Yes");
        EXPECT_EQ(textOf(buttons[1].title), "No");
        EXPECT_FALSE(native().attachedSheet.preventsApplicationTerminationWhenModal);
        endSheet(native(), NSAlertFirstButtonReturn + button);
        EXPECT_EQ(answer, button == 0 ? 1 : 0);
    }
}

TEST_F(CocoaWebWindowTest, choosesFilesForAPage) {
    for (const BOOL more : {YES, NO}) {
        __block id chosen = @"nothing yet";
        [view() hostChooseFilesMultiple:more
                                folders:!more
                                 answer:^(NSArray<NSURL*>* urls) {
                                   chosen = urls;
                                 }];
        NSOpenPanel* const panel = sheetOwner(native());
        EXPECT_TRUE(panel.canChooseFiles);
        EXPECT_EQ(panel.allowsMultipleSelection, more);
        EXPECT_EQ(panel.canChooseDirectories, !more);
        EXPECT_FALSE(panel.preventsApplicationTerminationWhenModal);
        constexpr NSModalResponse cancelled = 0;
        endSheet(native(), more ? cancelled : NSModalResponseOK);
        if (more) {
            EXPECT_EQ(chosen, nil);
        } else {
            EXPECT_TRUE([chosen isKindOfClass:NSClassFromString(@"NSArray")]);
        }
    }
}

// As often as the user may be asked, and no more: the rest is answered as by one who dismisses it.
TEST_F(CocoaWebWindowTest, doesNotPassOnAPagesQuestionsWithoutEnd) {
    __block int agreed = 0;
    __block int refused = 0;
    int shown = 0;
    for (int time = 0; time < 8; ++time) {
        [view() hostConfirm:@"again?"
                     answer:^(BOOL yes) {
                       ++(yes ? agreed : refused);
                     }];
        if (native().attachedSheet != nil) {
            ++shown;
            endSheet(native(), NSAlertFirstButtonReturn);
        }
    }
    EXPECT_EQ(shown, 5);
    EXPECT_EQ(agreed, 5);
    EXPECT_EQ(refused, 3);
    [view() hostAlert:@"again"];
    EXPECT_EQ(native().attachedSheet, nil);
    __block id chosen = @"nothing yet";
    [view() hostChooseFilesMultiple:NO
                            folders:NO
                             answer:^(NSArray<NSURL*>* urls) {
                               chosen = urls;
                             }];
    EXPECT_EQ(chosen, nil);
}

// WebKit raises an exception for a handler that nobody calls; TearDown() counts them.
TEST_F(CocoaWebWindowTest, answersASheetThatIsStillUpWhenItEnds) {
    __block int answers = 0;
    [view() hostConfirm:@"left alone"
                 answer:^(BOOL agreed) {
                   answers += agreed ? 100 : 1;
                 }];
    NSWindow* const left = native();
    ASSERT_NE(left.attachedSheet, nil);
    @autoreleasepool {
        window.reset();
    }
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(left.attachedSheet, nil);
}

// A window's second sheet waits for the first, and is forgotten with the window.
TEST_F(CocoaWebWindowTest, answersTheSheetsThatWaitWhenItEnds) {
    [view() hostAlert:@"first"];
    __block int answers = 0;
    [view() hostConfirm:@"second"
                 answer:^(BOOL agreed) {
                   answers += agreed ? 100 : 1;
                 }];
    [view() hostChooseFilesMultiple:NO
                            folders:NO
                             answer:^(NSArray<NSURL*>* urls) {
                               answers += urls == nil ? 10 : 1000;
                             }];
    @autoreleasepool {
        window.reset();
    }
    EXPECT_EQ(answers, 11);
}

TEST_F(CocoaWebWindowTest, answersPagesAtOnceWhenItIsGone) {
    WKWebView* const left = view();
    id<WKUIDelegate> delegate = left.UIDelegate;
    @autoreleasepool {
        window.reset();
    }
    ASSERT_EQ(left.UIDelegate, delegate);
    __block int answer = -1;
    [left hostAlert:@"late"];
    [left hostConfirm:@"late"
               answer:^(BOOL agreed) {
                 answer = agreed;
               }];
    EXPECT_EQ(answer, 0);
}

} // namespace
