// The smaller facilities: workspace, pasteboard, login item, Apple events, notifications.
#include "platform/Headless.h"
#include "platform/cocoa/CocoaApplication.h"
#include "platform/cocoa/CocoaLoginService.h"
#include "platform/cocoa/CocoaMainQueue.h"
#include "platform/cocoa/CocoaNotificationCenter.h"
#include "platform/cocoa/CocoaPasteboard.h"
#include "platform/cocoa/CocoaWorkspace.h"
#include "platform/cocoa/FourCharacters.h"
#include "platform/cocoa/SupportFolder.h"
#include "tests/cocoa_host/Turning.h"
#include "tests/cocoa_host/frameworks/doubles/AppleEvents.h"
#include "tests/cocoa_host/frameworks/doubles/Desktop.h"
#include "tests/cocoa_host/frameworks/doubles/LoginItem.h"
#include "tests/cocoa_host/frameworks/doubles/Observers.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using cocoa_host::CodeKind;
using cocoa_host::CurrentAppleEvent;
using cocoa_host::Desktop;
using cocoa_host::desktop;
using cocoa_host::LoginItem;
using cocoa_host::loginItem;
using cocoa_host::textOf;
using cocoa_host::turnUntil;
using platform::LoginServiceStatus;
using platform::OpenResult;
using platform::cocoa::fourCharacters;
using testing::ElementsAre;

class KeptLines final : public platform::Log {
  public:
    void write(std::string_view line) override { lines.emplace_back(line); }
    void writeLines(std::string_view /*prefix*/,
                    std::span<const std::string_view> /*lines*/) override {}

    std::vector<std::string> lines;
};

class CocoaWorkspaceTest : public testing::Test {
  protected:
    void SetUp() override { desktop() = Desktop(); }

    OpenResult open(const std::string& bundle) {
        std::mutex mutex;
        std::vector<OpenResult> results;
        workspace.openNewInstance(bundle, [&](const OpenResult& result) {
            const std::lock_guard lock(mutex);
            results.push_back(result);
        });
        const bool answered = turnUntil([&] {
            const std::lock_guard lock(mutex);
            return !results.empty();
        });
        EXPECT_TRUE(answered);
        return results.empty() ? OpenResult{} : results.front();
    }

    KeptLines log;
    platform::cocoa::CocoaWorkspace workspace{log};
};

TEST_F(CocoaWorkspaceTest, opensAddresses) {
    workspace.openUrl("https://example.org/a?b=c");
    EXPECT_THAT(desktop().openedUrls, ElementsAre("https://example.org/a?b=c"));
    EXPECT_THAT(log.lines, testing::IsEmpty());
}

TEST_F(CocoaWorkspaceTest, saysWhatItCannotOpen) {
    desktop().opensUrls = false;
    workspace.openUrl("https://example.org/");
    EXPECT_THAT(log.lines, ElementsAre("cannot open https://example.org/"));
    desktop() = Desktop();
    workspace.openUrl("no address %%%");
    EXPECT_THAT(desktop().openedUrls, testing::IsEmpty());
    EXPECT_EQ(log.lines.back(), "cannot open no address %%%");
}

TEST_F(CocoaWorkspaceTest, startsAnApplicationAnew) {
    const OpenResult result = open("/Applications/Some where.app");
    EXPECT_TRUE(result.launched);
    EXPECT_EQ(result.error, "");
    ASSERT_EQ(desktop().openedApplications.size(), 1U);
    EXPECT_EQ(desktop().openedApplications[0].path, "/Applications/Some where.app");
    EXPECT_TRUE(desktop().openedApplications[0].asNewInstance);
    EXPECT_THAT(desktop().openedApplications[0].variables,
                ElementsAre(platform::cocoa::newInstanceVariable));
}

TEST_F(CocoaWorkspaceTest, saysWhyAnApplicationDoesNotStart) {
    desktop().launchError = "It is damaged.";
    const OpenResult result = open("/Applications/Zorvane.app");
    EXPECT_FALSE(result.launched);
    EXPECT_EQ(result.error, "It is damaged.");
}

TEST(CocoaPasteboard, holdsNothingButTheTextItWasGiven) {
    (void)NSApplication.sharedApplication;
    @autoreleasepool {
        NSPasteboard* const board = NSPasteboard.generalPasteboard;
        [board declareTypes:@[ @"app.example.picture" ] owner:nil];
        platform::cocoa::CocoaPasteboard().setText("http://127.0.0.1:8080/ über");
        EXPECT_EQ(textOf([board stringForType:NSPasteboardTypeString]),
                  "http://127.0.0.1:8080/ über");
        // Another process has them, which an enumeration of another kind does not reach.
        NSArray<NSString*>* const types = board.types;
        for (NSUInteger index = 0; index < types.count; ++index) {
            EXPECT_NE(textOf(types[index]), "app.example.picture");
        }
    }
}

class CocoaLoginServiceTest : public testing::Test {
  protected:
    void SetUp() override { loginItem() = LoginItem(); }

    platform::cocoa::CocoaLoginService service;
};

TEST_F(CocoaLoginServiceTest, registersAndUnregistersTheApplication) {
    EXPECT_EQ(service.status(), LoginServiceStatus::notRegistered);
    EXPECT_TRUE(service.registerApplication({}).has_value());
    EXPECT_EQ(service.status(), LoginServiceStatus::enabled);
    EXPECT_TRUE(service.unregisterApplication().has_value());
    EXPECT_EQ(service.status(), LoginServiceStatus::notRegistered);
}

TEST_F(CocoaLoginServiceTest, saysWhyTheSystemRefuses) {
    loginItem().error = "The operation is not permitted.";
    EXPECT_EQ(service.registerApplication({}).error(), "The operation is not permitted.");
    EXPECT_EQ(service.unregisterApplication().error(), "The operation is not permitted.");
    EXPECT_EQ(service.status(), LoginServiceStatus::notRegistered);
}

TEST_F(CocoaLoginServiceTest, tellsTheStatusesApart) {
    loginItem().status = SMAppServiceStatusRequiresApproval;
    EXPECT_EQ(service.status(), LoginServiceStatus::requiresApproval);
    loginItem().status = SMAppServiceStatusNotFound;
    EXPECT_EQ(service.status(), LoginServiceStatus::notFound);
}

class CocoaApplicationObject : public testing::Test {
  protected:
    void SetUp() override { desktop() = Desktop(); }

    platform::cocoa::CocoaApplication application;
};

TEST_F(CocoaApplicationObject, describesTheEventThatIsBeingHandled) {
    EXPECT_FALSE(application.currentEvent());
    {
        const CurrentAppleEvent quit(fourCharacters("aevt"), fourCharacters("quit"),
                                     fourCharacters("rsdn"));
        const auto event = application.currentEvent();
        ASSERT_TRUE(event);
        EXPECT_EQ(event->eventClass, fourCharacters("aevt"));
        EXPECT_EQ(event->eventId, fourCharacters("quit"));
        EXPECT_EQ(event->why, fourCharacters("rsdn"));
    }
    {
        const CurrentAppleEvent quit(fourCharacters("aevt"), fourCharacters("quit"),
                                     fourCharacters("logo"), CodeKind::type);
        EXPECT_EQ(application.currentEvent()->why, fourCharacters("logo"));
    }
    {
        const CurrentAppleEvent withoutReason(fourCharacters("aevt"), fourCharacters("rapp"));
        EXPECT_EQ(application.currentEvent()->why, std::nullopt);
    }
    EXPECT_FALSE(application.currentEvent());
}

TEST_F(CocoaApplicationObject, hasAnIconInTheDockOrNone) {
    application.setActivationPolicy(platform::ActivationPolicy::accessory);
    EXPECT_EQ(desktop().activationPolicy, NSApplicationActivationPolicyAccessory);
    application.setActivationPolicy(platform::ActivationPolicy::regular);
    EXPECT_EQ(desktop().activationPolicy, NSApplicationActivationPolicyRegular);
}

TEST_F(CocoaApplicationObject, comesBeforeOtherApplications) {
    application.activateIgnoringOtherApps();
    EXPECT_EQ(desktop().activations, 1);
}

class CocoaNotifications : public testing::Test {
  protected:
    void postElsewhere() const {
        std::atomic<bool> done = false;
        std::thread poster([&] {
            @autoreleasepool {
                [NSNotificationCenter.defaultCenter postNotificationName:@(name.c_str())
                                                                  object:nil];
            }
            done = true;
        });
        EXPECT_TRUE(turnUntil([&] { return done.load(); }));
        poster.join();
    }

    const std::string name = NSUUID.UUID.UUIDString.UTF8String;
    platform::cocoa::CocoaMainQueue queue;
};

TEST_F(CocoaNotifications, areHeardOnTheMainThread) {
    platform::cocoa::CocoaNotificationCenter center(queue);
    std::vector<bool> onMain;
    center.observe(name, [&] { onMain.push_back(NSThread.isMainThread); });
    postElsewhere();
    center.post(name);
    EXPECT_TRUE(turnUntil([&] { return onMain.size() == 2; }));
    EXPECT_THAT(onMain, ElementsAre(true, true));
}

TEST_F(CocoaNotifications, endWithTheirCenterAndLeaveNothing) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = held;
    @autoreleasepool {
        platform::cocoa::CocoaNotificationCenter center(queue);
        center.observe(name, [held] { ++*held; });
        held.reset();
        EXPECT_FALSE(watched.expired());
    }
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(cocoa_host::blockObserverCount(), 0U);
    @autoreleasepool {
        [NSNotificationCenter.defaultCenter postNotificationName:@(name.c_str()) object:nil];
    }
}

TEST_F(CocoaNotifications, mayAddHandlersWhileTheyAreHeard) {
    platform::cocoa::CocoaNotificationCenter center(queue);
    int first = 0;
    int added = 0;
    center.observe(name, [&] {
        ++first;
        center.observe(name, [&] { ++added; });
    });
    [NSNotificationCenter.defaultCenter postNotificationName:@(name.c_str()) object:nil];
    EXPECT_EQ(first, 1);
    EXPECT_EQ(added, 0);
    [NSNotificationCenter.defaultCenter postNotificationName:@(name.c_str()) object:nil];
    EXPECT_EQ(added, 1);
}

TEST(CocoaHeadless, readsInfoFiles) {
    const test_support::TemporaryFolder folder;
    const auto platform = platform::makeHeadlessPlatform({});
    const auto file = folder / "Info.plist";
    const auto absent = platform->readInfoFile(file);
    ASSERT_FALSE(absent);
    EXPECT_EQ(absent.error(), "cannot read " + file.native() + ": The file could not be opened.");
    std::ofstream(file) << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">"
                           "<dict><key>CFBundleName</key><string>Name</string>"
                           "<key>Flag</key><true/></dict></plist>\n";
    const auto read = platform->readInfoFile(file);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->at("CFBundleName"), "Name");
    EXPECT_EQ(read->at("Flag"), std::nullopt);
}

TEST(CocoaHeadless, saysWhenNothingOpensAnAddress) {
    desktop() = Desktop();
    const auto platform = platform::makeHeadlessPlatform({});
    EXPECT_EQ(platform->openUrl("https://example.org/"), std::nullopt);
    EXPECT_THAT(desktop().openedUrls, ElementsAre("https://example.org/"));
    desktop().opensUrls = false;
    EXPECT_EQ(platform->openUrl("https://example.org/"), "no application opens it");
    EXPECT_EQ(platform->openUrl("no address %%%"), "no application opens it");
}

// A peer that went away is an error and no signal.
TEST(CocoaHeadless, ignoresBrokenPipes) {
    (void)std::signal(SIGPIPE, SIG_DFL);
    const auto platform = platform::makeHeadlessPlatform({});
    struct sigaction action = {};
    ::sigaction(SIGPIPE, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_IGN);
}

TEST(SupportFolder, isTheUsers) {
    const auto folder = platform::cocoa::supportFolder();
    ASSERT_TRUE(folder);
    EXPECT_TRUE(folder->native().starts_with(textOf(NSHomeDirectory()) + "/")) << *folder;
}

} // namespace
