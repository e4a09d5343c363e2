// NSMenu made of the core's menus.
#include "platform/cocoa/CocoaMenu.h"
#include "platform/cocoa/CocoaStatusBar.h"
#include "tests/cocoa_host/Turning.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>

@interface NSObject (MenuItemTarget)
- (void)perform:(id)sender;
@end

namespace {

using cocoa_host::textOf;
using platform::Menu;
using platform::StandardAction;
using platform::cocoa::appendItems;

class CocoaMenuTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { (void)NSApplication.sharedApplication; }

    void fill(const Menu& items) { appendItems(menu, items); }
    NSMenuItem* item(NSInteger index) const { return [menu itemAtIndex:index]; }

    NSMenu* menu = [[NSMenu alloc] initWithTitle:@""];
};

TEST_F(CocoaMenuTest, showsTitlesKeysAndCheckMarksInTheirOrder) {
    fill({{.title = "First", .checked = true, .keyEquivalent = "f", .action = [] {}},
          {.separator = true},
          {.title = "Second", .action = [] {}}});
    ASSERT_EQ(menu.numberOfItems, 3);
    EXPECT_EQ(textOf(item(0).title), "First");
    EXPECT_EQ(textOf(item(0).keyEquivalent), "f");
    EXPECT_EQ(item(0).state, NSControlStateValueOn);
    EXPECT_TRUE(item(1).isSeparatorItem);
    EXPECT_EQ(textOf(item(2).title), "Second");
    EXPECT_EQ(textOf(item(2).keyEquivalent), "");
    EXPECT_EQ(item(2).state, NSControlStateValueOff);
}

// A menu asks the targets of its items each time before it shows them.
TEST_F(CocoaMenuTest, keepsItemsDisabledThatAre) {
    fill({{.title = "On", .action = [] {}},
          {.title = "Off", .enabled = false, .action = [] {}},
          {.title = "Information", .enabled = false},
          {.title = "Copy", .enabled = false, .standardAction = StandardAction::copy}});
    [menu update];
    EXPECT_TRUE(item(0).enabled);
    EXPECT_FALSE(item(1).enabled);
    EXPECT_FALSE(item(2).enabled);
    EXPECT_FALSE(item(3).enabled);
    EXPECT_EQ(item(3).action, nullptr);
}

TEST_F(CocoaMenuTest, performsTheActionThatWasChosen) {
    int chosen = 0;
    fill({{.title = "One", .action = [&] { chosen += 1; }},
          {.title = "More", .submenu = {{.title = "Ten", .action = [&] { chosen += 10; }}}}});
    [menu performActionForItemAtIndex:0];
    EXPECT_EQ(textOf([item(1).submenu itemAtIndex:0].title), "Ten");
    [item(1).submenu performActionForItemAtIndex:0];
    EXPECT_EQ(chosen, 11);
}

TEST_F(CocoaMenuTest, sendsStandardCommandsToTheFirstResponder) {
    const std::pair<StandardAction, const char*> commands[] = {
        {StandardAction::orderFrontStandardAboutPanel, "orderFrontStandardAboutPanel:"},
        {StandardAction::hide, "hide:"},
        {StandardAction::terminate, "terminate:"},
        {StandardAction::undo, "undo:"},
        {StandardAction::redo, "redo:"},
        {StandardAction::cut, "cut:"},
        {StandardAction::copy, "copy:"},
        {StandardAction::paste, "paste:"},
        {StandardAction::selectAll, "selectAll:"},
        {StandardAction::performMiniaturize, "performMiniaturize:"},
        {StandardAction::performClose, "performClose:"}};
    for (const auto& [command, selector] : commands) {
        NSMenu* const single = [[NSMenu alloc] initWithTitle:@""];
        appendItems(single, {{.title = "Command", .standardAction = command}});
        EXPECT_EQ(textOf(NSStringFromSelector([single itemAtIndex:0].action)), selector);
        EXPECT_EQ([single itemAtIndex:0].target, nil);
    }
}

// An item refers to its target weakly; the actions would be gone at once.
TEST_F(CocoaMenuTest, keepsItsActionsAsLongAsItsItems) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = held;
    @autoreleasepool {
        fill({{.title = "Item", .action = [held] { ++*held; }}});
        held.reset();
    }
    ASSERT_FALSE(watched.expired());
    @autoreleasepool {
        [menu performActionForItemAtIndex:0];
        EXPECT_EQ(*watched.lock(), 1);
        [menu removeAllItems];
    }
    EXPECT_TRUE(watched.expired());
}

// The menu lets go of the item at once, as it does where the choice has a pool of its own.
TEST_F(CocoaMenuTest, letsAnActionEndTheMenuItIsIn) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = held;
    bool aliveAfterwards = false;
    @autoreleasepool {
        fill({{.title = "Item", .action = [this, &aliveAfterwards, &watched, held] {
                   @autoreleasepool {
                       [menu removeAllItems];
                   }
                   aliveAfterwards = !watched.expired() && *held == 0;
               }}});
        held.reset();
    }
    __unsafe_unretained id target = nil;
    @autoreleasepool {
        target = item(0).target;
    }
    [target perform:nil];
    EXPECT_TRUE(aliveAfterwards);
    EXPECT_TRUE(watched.expired());
}

TEST_F(CocoaMenuTest, namesTheMenuThatListsTheWindows) {
    platform::cocoa::CocoaMenuBar().setMainMenu(
        {{.submenu = {{.title = "About"}}},
         {.title = "Window", .submenu = {{.title = "Close"}}, .listsWindows = true}});
    NSMenu* const mainMenu = NSApplication.sharedApplication.mainMenu;
    ASSERT_EQ(mainMenu.numberOfItems, 2);
    EXPECT_EQ(textOf([[mainMenu itemAtIndex:0].submenu itemAtIndex:0].title), "About");
    EXPECT_EQ(NSApplication.sharedApplication.windowsMenu, [mainMenu itemAtIndex:1].submenu);
    EXPECT_NE([mainMenu itemAtIndex:1].submenu, nil);
}

} // namespace
