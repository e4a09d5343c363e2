// NSStatusItem: its button, and a menu that is made anew each time it opens.
#include "platform/cocoa/CocoaStatusBar.h"
#include "tests/cocoa_host/Turning.h"
#include "tests/cocoa_host/frameworks/doubles/Desktop.h"
#include "tests/cocoa_host/frameworks/doubles/StatusItems.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using cocoa_host::openMenu;
using cocoa_host::statusItems;
using cocoa_host::textOf;
using platform::Menu;

class CocoaStatusItemTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { (void)NSApplication.sharedApplication; }

    NSStatusItem* native() const { return statusItems().lastObject; }

    std::unique_ptr<platform::StatusItem> item = platform::cocoa::CocoaStatusBar().makeStatusItem();
};

TEST_F(CocoaStatusItemTest, isInTheBarAsLongAsItLives) {
    const NSUInteger before = statusItems().count;
    item.reset();
    EXPECT_EQ(statusItems().count, before - 1);
}

TEST_F(CocoaStatusItemTest, showsASymbolThatFollowsTheBarsColours) {
    ASSERT_TRUE(item->setSymbol("play.fill", "Plays"));
    NSImage* const image = native().button.image;
    ASSERT_NE(image, nil);
    EXPECT_TRUE(image.isTemplate);
    EXPECT_EQ(cocoa_host::descriptionOf(image), "Plays");
    item->clearImage();
    EXPECT_EQ(native().button.image, nil);
}

TEST_F(CocoaStatusItemTest, changesNothingForASymbolThatTheSystemDoesNotHave) {
    ASSERT_TRUE(item->setSymbol("play.fill", "Plays"));
    NSImage* const before = native().button.image;
    EXPECT_FALSE(item->setSymbol("no.such.symbol", "Nothing"));
    EXPECT_EQ(native().button.image, before);
}

TEST_F(CocoaStatusItemTest, hasATitleAndAToolTip) {
    item->setTitle("📻");
    EXPECT_EQ(textOf(native().button.title), "📻");
    item->setToolTip("Server: Online\nLibrary: loading...");
    EXPECT_EQ(textOf(native().button.toolTip), "Server: Online\nLibrary: loading...");
    item->setToolTip(std::nullopt);
    EXPECT_EQ(native().button.toolTip, nil);
}

TEST_F(CocoaStatusItemTest, showsExactlyWhatIsAnsweredWhenItsMenuOpens) {
    int opened = 0;
    item->onMenuNeedsUpdate = [&]() -> Menu {
        return {{.title = "Opened " + std::to_string(++opened)}};
    };
    EXPECT_EQ(native().menu.numberOfItems, 0);
    EXPECT_FALSE(item->keepsMenu()); // so nobody makes one meanwhile
    openMenu(native());
    openMenu(native());
    ASSERT_EQ(native().menu.numberOfItems, 1);
    EXPECT_EQ(opened, 2);
    EXPECT_EQ(textOf([native().menu itemAtIndex:0].title), "Opened 2");
}

TEST_F(CocoaStatusItemTest, emptiesAMenuThatNobodyFills) {
    item->onMenuNeedsUpdate = []() -> Menu { return {{.title = "Item"}}; };
    openMenu(native());
    item->onMenuNeedsUpdate = nullptr;
    openMenu(native());
    EXPECT_EQ(native().menu.numberOfItems, 0);
}

// The bar may still hold the menu when the item is gone.
TEST_F(CocoaStatusItemTest, isNotAskedOnceItIsGone) {
    NSStatusItem* const left = native();
    item->onMenuNeedsUpdate = []() -> Menu { return {{.title = "Item"}}; };
    id const delegate = left.menu.delegate;
    ASSERT_NE(delegate, nil);
    item.reset();
    [delegate menuNeedsUpdate:left.menu];
    EXPECT_EQ(left.menu.numberOfItems, 0);
}

} // namespace
