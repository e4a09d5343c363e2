#include "mac/Tessel/Application/AppPresence.h"

#include "platform/testing/FakeDesktop.h"
#include "platform/testing/FakeStatusBar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tessel {
namespace {

using platform::ActivationPolicy;
using platform::Menu;
using platform::testing::describe;
using testing::ElementsAre;
using testing::IsEmpty;

class AppPresenceTest : public testing::Test {
  protected:
    platform::testing::Events events;
    platform::testing::FakeApplication application{events};
    platform::testing::FakeStatusBar statusBar;
    AppPresence presence{
        "Studio", {.application = application, .statusBar = statusBar, .menuBar = statusBar}};

    static constexpr const char* known = "antenna.radiowaves.left.and.right";

    void installWith(const AppPresence::Glyph& glyph) { presence.install(glyph, true, {}); }
};

TEST_F(AppPresenceTest, installsTheStatusItemAndTheMainMenu) {
    installWith(AppPresence::SymbolGlyph{known, "S"});
    EXPECT_EQ(statusBar.made, 1);
    EXPECT_EQ(statusBar.item->symbol, known);
    EXPECT_EQ(statusBar.item->description, "Studio");
    EXPECT_EQ(statusBar.item->title, "");
    EXPECT_EQ(statusBar.item->toolTip, "Studio");
    EXPECT_THAT(describe(statusBar.mainMenu), ElementsAre("", "Edit", "Window"));
    EXPECT_EQ(application.policy, ActivationPolicy::regular);
}

TEST_F(AppPresenceTest, isInTheStatusAreaOnlyWithoutADockIcon) {
    presence.install(AppPresence::TextGlyph{"S"}, /*dockIcon=*/false, {});
    EXPECT_EQ(application.policy, ActivationPolicy::accessory);
    EXPECT_EQ(statusBar.made, 1);
}

TEST_F(AppPresenceTest, showsTheFallbackOfASymbolThatTheSystemDoesNotKnow) {
    installWith(AppPresence::SymbolGlyph{"no.such.symbol", "📻"});
    EXPECT_FALSE(statusBar.item->symbol);
    EXPECT_EQ(statusBar.item->title, "📻");
}

TEST_F(AppPresenceTest, replacesTheImageByATextAndBack) {
    installWith(AppPresence::SymbolGlyph{known, "S"});
    presence.setStatusGlyph(AppPresence::TextGlyph{"42"});
    EXPECT_FALSE(statusBar.item->symbol);
    EXPECT_EQ(statusBar.item->title, "42");
    presence.setStatusGlyph(AppPresence::SymbolGlyph{known, "S"});
    EXPECT_EQ(statusBar.item->symbol, known);
    EXPECT_EQ(statusBar.item->title, "");
}

TEST_F(AppPresenceTest, keepsTheToolTipWhenATextComesWithoutOne) {
    installWith(AppPresence::SymbolGlyph{known, "S"});
    presence.setStatusText("1", "one");
    presence.setStatusText("2", std::nullopt);
    EXPECT_EQ(statusBar.item->title, "2");
    EXPECT_FALSE(statusBar.item->symbol);
    EXPECT_EQ(statusBar.item->toolTip, "one");
}

TEST_F(AppPresenceTest, removesTheToolTipWhenAskedForNone) {
    installWith(AppPresence::TextGlyph{"S"});
    presence.setStatusToolTip(std::nullopt);
    EXPECT_FALSE(statusBar.item->toolTip);
    presence.setStatusToolTip("two\nlines");
    EXPECT_EQ(statusBar.item->toolTip, "two\nlines");
}

TEST_F(AppPresenceTest, doesNothingToAStatusItemThatIsNotThereYet) {
    presence.setStatusGlyph(AppPresence::TextGlyph{"S"});
    presence.setStatusText("S", "tip");
    presence.setStatusToolTip("tip");
    presence.statusMenuChanged({});
    EXPECT_EQ(statusBar.made, 0);
}

TEST_F(AppPresenceTest, rebuildsTheMenuFromScratchAtEachOpening) {
    installWith(AppPresence::TextGlyph{"S"});
    EXPECT_THAT(statusBar.item->open(), IsEmpty());
    int opened = 0;
    presence.buildStatusMenu = [&](Menu& menu) {
        EXPECT_TRUE(menu.empty());
        menu.push_back(AppPresence::infoItem(std::to_string(++opened)));
    };
    EXPECT_THAT(describe(statusBar.item->open()), ElementsAre("[1]"));
    EXPECT_THAT(describe(statusBar.item->open()), ElementsAre("[2]"));
}

TEST_F(AppPresenceTest, emptiesAMenuBeforeItIsBuilt) {
    Menu menu = {AppPresence::infoItem("old")};
    presence.menuNeedsUpdate(menu);
    EXPECT_THAT(menu, IsEmpty());
}

TEST_F(AppPresenceTest, opensTheMainWindowOnAReopenWithoutVisibleWindows) {
    int opened = 0;
    EXPECT_TRUE(presence.handleReopen(false));
    presence.onOpenMainWindow = [&] { ++opened; };
    EXPECT_TRUE(presence.handleReopen(true));
    EXPECT_EQ(opened, 0);
    EXPECT_TRUE(presence.handleReopen(false));
    EXPECT_EQ(opened, 1);
}

TEST_F(AppPresenceTest, opensTheMainWindowWhenTheStatusItemIsActivated) {
    installWith(AppPresence::TextGlyph{"S"});
    statusBar.item->activate();
    int opened = 0;
    presence.onOpenMainWindow = [&] { ++opened; };
    statusBar.item->activate();
    EXPECT_EQ(opened, 1);
}

TEST_F(AppPresenceTest, movesTheDockIconWithTheActivationPolicy) {
    presence.setDockIconVisible(false);
    EXPECT_EQ(application.policy, ActivationPolicy::accessory);
    presence.setDockIconVisible(true);
    EXPECT_EQ(application.policy, ActivationPolicy::regular);
}

TEST(MenuItems, areActionsAndLinesOfInformation) {
    int done = 0;
    const platform::MenuItem action = AppPresence::menuItem("Do", [&] { ++done; });
    action.action();
    EXPECT_EQ(done, 1);
    EXPECT_TRUE(action.enabled);
    EXPECT_EQ(action.keyEquivalent, "");
    const platform::MenuItem info = AppPresence::infoItem("Note");
    EXPECT_FALSE(info.enabled);
    EXPECT_FALSE(info.action);
    EXPECT_EQ(info.keyEquivalent, "");
}

} // namespace
} // namespace tessel
