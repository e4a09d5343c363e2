// NSAlert, answered while its modal loop runs.
#include "platform/cocoa/CocoaAlerts.h"
#include "platform/cocoa/CocoaMainQueue.h"
#include "tests/cocoa_host/Turning.h"
#include "tests/cocoa_host/frameworks/doubles/Modal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using cocoa_host::answerModal;
using cocoa_host::textOf;
using cocoa_host::whenModal;
using platform::Alert;
using platform::cocoa::CocoaAlerts;

class CocoaAlertsTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { (void)NSApplication.sharedApplication; }

    static std::size_t ask(const Alert& alert, NSModalResponse response) {
        whenModal([response] { answerModal(response); });
        return CocoaAlerts().runModal(alert);
    }

    const Alert three{
        .message = "Move?", .informativeText = "It is better.", .buttons = {"Yes", "No", "Later"}};
};

TEST_F(CocoaAlertsTest, showsItsTextsAndButtons) {
    whenModal([] {
        NSAlert* const alert = cocoa_host::modalAlert();
        EXPECT_EQ(textOf(alert.messageText), "Move?");
        EXPECT_EQ(textOf(alert.informativeText), "It is better.");
        ASSERT_EQ(alert.buttons.count, NSUInteger{3});
        EXPECT_EQ(textOf(alert.buttons[0].title), "Yes");
        EXPECT_EQ(textOf(alert.buttons[1].title), "No");
        EXPECT_EQ(textOf(alert.buttons[2].title), "Later");
        EXPECT_NE(textOf(alert.buttons[1].keyEquivalent), "\033");
        EXPECT_EQ(textOf(alert.buttons[2].keyEquivalent), "\033");
        answerModal(NSAlertFirstButtonReturn);
    });
    (void)CocoaAlerts().runModal(three);
}

// Escape is not the answer where there is nothing to choose.
TEST_F(CocoaAlertsTest, leavesASingleButtonItsKey) {
    whenModal([] {
        NSAlert* const alert = cocoa_host::modalAlert();
        ASSERT_EQ(alert.buttons.count, NSUInteger{1});
        EXPECT_NE(textOf(alert.buttons[0].keyEquivalent), "\033");
        answerModal(NSAlertFirstButtonReturn);
    });
    (void)CocoaAlerts().runModal({.message = "Told", .buttons = {"OK"}});
}

TEST_F(CocoaAlertsTest, answersWithTheButtonsPlace) {
    for (const int place : {0, 1, 2}) {
        EXPECT_EQ(ask(three, NSAlertFirstButtonReturn + place), static_cast<std::size_t>(place));
    }
}

TEST_F(CocoaAlertsTest, answersWithTheLastButtonWhenItIsEndedOtherwise) {
    constexpr NSModalResponse aborted = -1001;
    EXPECT_EQ(ask(three, aborted), 2U);
    EXPECT_EQ(ask(three, NSAlertFirstButtonReturn + 7), 2U);
    EXPECT_EQ(ask({.message = "Only told"}, NSAlertFirstButtonReturn), 0U);
}

// As AppKit has it, a modal window forbids the application to terminate.
TEST_F(CocoaAlertsTest, letsTheApplicationQuit) {
    bool prevents = true;
    whenModal([&] {
        prevents =
            NSApplication.sharedApplication.modalWindow.preventsApplicationTerminationWhenModal;
        answerModal(NSAlertFirstButtonReturn);
    });
    EXPECT_TRUE([[[NSAlert alloc] init] window].preventsApplicationTerminationWhenModal);
    (void)CocoaAlerts().runModal(three);
    EXPECT_FALSE(prevents);
}

TEST_F(CocoaAlertsTest, letsTheMainQueueGoOn) {
    platform::cocoa::CocoaMainQueue queue;
    bool ran = false;
    queue.post([&] {
        ran = true;
        answerModal(NSAlertFirstButtonReturn);
    });
    EXPECT_EQ(CocoaAlerts().runModal(three), 0U);
    EXPECT_TRUE(ran);
}

TEST_F(CocoaAlertsTest, leavesTheMainQueueAtRestWhileOneOfItsTasksAsks) {
    platform::cocoa::CocoaMainQueue queue;
    std::vector<std::string> order;
    queue.post([&] {
        queue.post([&] { order.emplace_back("next task"); });
        whenModal([&] {
            order.emplace_back("answered");
            answerModal(NSAlertFirstButtonReturn);
        });
        (void)CocoaAlerts().runModal(three);
        order.emplace_back("asked");
    });
    ASSERT_TRUE(cocoa_host::turnUntil([&] { return order.size() == 3; }));
    EXPECT_THAT(order, testing::ElementsAre("answered", "asked", "next task"));
}

} // namespace
