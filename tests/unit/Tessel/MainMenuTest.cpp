#include "mac/Tessel/Application/MainMenu.h"

#include "mac/Tessel/Application/AppPresence.h"
#include "platform/testing/FakeStatusBar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tessel {
namespace {

using platform::Menu;
using platform::StandardAction;
using platform::testing::describe;
using platform::testing::itemTitled;
using testing::ElementsAre;

TEST(MainMenu, hasTheThreeStandardMenus) {
    const Menu menu = MainMenu::build("Studio", {});
    EXPECT_THAT(describe(menu), ElementsAre("", "Edit", "Window"));
    EXPECT_THAT(describe(menu[0].submenu),
                ElementsAre("About Studio", "-", "Hide Studio", "-", "Quit Studio"));
    EXPECT_THAT(describe(menu[1].submenu),
                ElementsAre("Undo", "Redo", "-", "Cut", "Copy", "Paste", "Select All"));
    EXPECT_THAT(describe(menu[2].submenu), ElementsAre("Minimize", "Close"));
}

TEST(MainMenu, putsTheExtrasAfterAbout) {
    const Menu extras = {AppPresence::menuItem("Settings…", [] {}),
                         AppPresence::infoItem("Licensed")};
    const Menu menu = MainMenu::build("Studio", extras);
    EXPECT_THAT(describe(menu[0].submenu),
                ElementsAre("About Studio", "-", "Settings…", "[Licensed]", "-", "Hide Studio", "-",
                            "Quit Studio"));
}

TEST(MainMenu, listsTheWindowsInTheWindowMenuOnly) {
    const Menu menu = MainMenu::build("Studio", {});
    EXPECT_FALSE(menu[0].listsWindows);
    EXPECT_FALSE(menu[1].listsWindows);
    EXPECT_TRUE(menu[2].listsWindows);
}

struct Command {
    std::size_t menu;
    const char* title;
    StandardAction action;
    const char* key;
};

class MainMenuCommand : public testing::TestWithParam<Command> {};

TEST_P(MainMenuCommand, goesToTheFirstResponderWithItsKey) {
    const Menu menu = MainMenu::build("Studio", {});
    const platform::MenuItem& item = itemTitled(menu[GetParam().menu].submenu, GetParam().title);
    EXPECT_EQ(item.standardAction, GetParam().action);
    EXPECT_EQ(item.keyEquivalent, GetParam().key);
    EXPECT_TRUE(item.enabled);
    EXPECT_FALSE(item.action);
}

INSTANTIATE_TEST_SUITE_P(
    All, MainMenuCommand,
    testing::Values(Command{0, "About Studio", StandardAction::orderFrontStandardAboutPanel, ""},
                    Command{0, "Hide Studio", StandardAction::hide, "h"},
                    Command{0, "Quit Studio", StandardAction::terminate, "q"},
                    Command{1, "Undo", StandardAction::undo, "z"},
                    Command{1, "Redo", StandardAction::redo, "Z"},
                    Command{1, "Cut", StandardAction::cut, "x"},
                    Command{1, "Copy", StandardAction::copy, "c"},
                    Command{1, "Paste", StandardAction::paste, "v"},
                    Command{1, "Select All", StandardAction::selectAll, "a"},
                    Command{2, "Minimize", StandardAction::performMiniaturize, "m"},
                    Command{2, "Close", StandardAction::performClose, "w"}));

} // namespace
} // namespace tessel
