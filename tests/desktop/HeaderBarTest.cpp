// The header bar of the real application's window: the status item's button where there is no tray,
// the main menu with its keys, and the About window.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/Clipboard.h"
#include "tests/desktop/session/Panel.h"
#include "tests/desktop/session/SettingsPortal.h"

#include <fmt/format.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

namespace desktop {
namespace {

class HeaderBar : public ApplicationTest {
  protected:
    static constexpr const char* about = "About Zorvane";

    // Where the status item's button is.
    [[nodiscard]] std::optional<Screenshot> statusButton() const {
        const WindowGeometry place = session.geometry(window().value_or("root"));
        return session.screenshotOf(
            {.x = place.x + 14, .y = place.y + 15, .width = 24, .height = 24});
    }
    [[nodiscard]] bool statusButtonComesToBe(bool there) const {
        return eventually([&] {
            const auto shot = statusButton();
            return shot && (shot->contrast() > 3) == there;
        });
    }

    // Opens the status item's menu by a click and chooses the third item that can be chosen. Keys
    // are lost until the menu has the keyboard: then once more.
    [[nodiscard]] bool copiesTheAddress() const {
        const std::string address =
            fmt::format("http://127.0.0.1:{}/", serverLaunches(1).back().port);
        return eventually([&] {
            session.pressKey("Escape");
            const WindowGeometry place = session.geometry(window().value_or("root"));
            session.click(place.x + 26, place.y + 27);
            (void)eventually([&] { return menu().has_value(); }, std::chrono::seconds(2));
            for (const char* key : {"Down", "Down", "Return"}) {
                session.pressKey(key);
            }
            return eventually(
                [&] { return clipboardText(session.environment.at("DISPLAY")) == address; },
                std::chrono::seconds(2));
        });
    }
    // Where the menu that is open is; a tool tip is not as high.
    [[nodiscard]] std::optional<WindowGeometry> menu() const {
        for (const WindowGeometry& popup : session.popups()) {
            if (popup.height > 150) {
                return popup;
            }
        }
        return std::nullopt;
    }
    // The status item's menu, which is opened for it.
    [[nodiscard]] std::optional<Screenshot> statusMenu() const {
        session.pressKey("Escape");
        const WindowGeometry place = session.geometry(window().value_or("root"));
        session.click(place.x + 26, place.y + 27);
        if (!eventually([&] { return menu().has_value(); }, std::chrono::seconds(2))) {
            return std::nullopt;
        }
        auto shot = session.screenshotOf(menu().value_or(WindowGeometry()));
        session.pressKey("Escape");
        (void)eventually([&] { return !menu(); }, std::chrono::seconds(2));
        return shot;
    }

    // The lines of text and the separators of the menu that is open at that place, from the top.
    [[nodiscard]] std::vector<Box> linesAt(const WindowGeometry& place) const {
        constexpr int edge = 16; // shadow, frame, and what is between frame and text
        const auto shot = session.screenshotOf(place);
        return shot ? shot->lines({.x = edge,
                                   .y = edge,
                                   .width = shot->width() - 2 * edge,
                                   .height = shot->height() - 2 * edge})
                    : std::vector<Box>();
    }

    [[nodiscard]] bool goesBy(const std::string& key, const std::string& title) const {
        return eventually([&] {
            if (const auto shown = session.visibleWindow(title)) {
                session.focus(*shown);
                session.pressKey(key);
            }
            return eventually([&] { return !session.visibleWindow(title); },
                              std::chrono::seconds(1));
        });
    }

    // Below the submenus "Edit" and "Window". What was chosen late is waited for: the keys of
    // another try would close it.
    [[nodiscard]] bool opensAbout() const {
        return eventually([&] {
            session.focus(window().value_or("root"));
            session.pressKey(menu() ? "Escape" : "F10");
            if (!eventually([&] { return menu().has_value(); }, std::chrono::seconds(2))) {
                return false;
            }
            for (const char* key : {"Down", "Down", "Return"}) {
                session.pressKey(key);
            }
            (void)eventually([&] { return !menu(); }, std::chrono::seconds(2));
            return !menu() && eventually([&] { return session.visibleWindow(about).has_value(); },
                                         std::chrono::seconds(10));
        });
    }
};

// It takes megabytes and the time of a start. The desktop's own theme has pictures here, too: where
// it has drawings alone (Adwaita 48) the toolkit loads the library for the window's controls.
TEST_F(HeaderBar, showsItsSymbolsWithoutALibraryForDrawings) {
    std::filesystem::create_directories(session.configHome() / "gtk-4.0");
    std::ofstream(session.configHome() / "gtk-4.0/settings.ini")
        << "[Settings]\ngtk-icon-theme-name=hicolor\n";
    launchUntilReady();
    ASSERT_TRUE(statusButtonComesToBe(true));
    const auto program = processesNamed("zorvane-window");
    ASSERT_EQ(program.size(), 1U);
    const std::string loaded = readFile(fmt::format("/proc/{}/maps", program.front().pid));
    EXPECT_NE(loaded.find("libgtk-4"), std::string::npos);
    EXPECT_EQ(loaded.find("librsvg"), std::string::npos);
}

TEST_F(HeaderBar, hasTheStatusMenuOnADesktopWithoutATray) {
    launchUntilReady();
    ASSERT_TRUE(statusButtonComesToBe(true));
    EXPECT_TRUE(copiesTheAddress());
}

TEST_F(HeaderBar, hasTheStatusMenuWithoutASessionBus) {
    session.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent";
    // As root and without a bus, WebKit's sandbox leaves a file in the machine's root folder.
    session.environment["WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS"] = "1";
    launchUntilReady();
    EXPECT_TRUE(copiesTheAddress());
}

TEST_F(HeaderBar, leavesTheStatusMenuToATrayThatComesAndTakesItBack) {
    launchUntilReady();
    ASSERT_TRUE(statusButtonComesToBe(true));
    for (int round = 0; round < 2; ++round) {
        const Panel panel(session);
        EXPECT_TRUE(panel.showsAnItem()) << round;
        EXPECT_TRUE(statusButtonComesToBe(false)) << round;
    }
    EXPECT_TRUE(statusButtonComesToBe(true));
    EXPECT_TRUE(copiesTheAddress());
}

TEST_F(HeaderBar, hidesTheWindowByKeyAndKeepsTheServer) {
    launchUntilReady();
    EXPECT_TRUE(goesBy("ctrl+h", "Zorvane"));
    EXPECT_TRUE(serverAnswers(serverLaunches(1).front().port));
    EXPECT_EQ(launch()->waitForExit(patience), 0); // the first shows its window again
    EXPECT_TRUE(windowAppears());
}

TEST_F(HeaderBar, minimizesTheWindowByKey) {
    launchUntilReady();
    EXPECT_TRUE(goesBy("ctrl+m", "Zorvane"));
    EXPECT_TRUE(application->isRunning());
}

TEST_F(HeaderBar, tellsAboutTheApplicationWithItsIcon) {
    launchUntilReady();
    ASSERT_TRUE(opensAbout());
    const std::string window = session.visibleWindow(about).value();
    EXPECT_TRUE(eventually([&] {
        const auto shot = session.screenshot(window);
        return shot && shot->boxOf(iconsGold).height > 4;
    }));
    // All windows have the same icon in the desktop's lists.
    const auto iconOf = [&](const std::string& id) {
        return session.ask({"xprop", "-id", id, "-notype", "32c", "_NET_WM_ICON"});
    };
    EXPECT_TRUE(eventually([&] { // the gold, opaque
        return iconOf(window).find(", 4294955366") != std::string::npos;
    })) << iconOf(window);
    EXPECT_TRUE(eventually([&] { return iconOf(window) == iconOf(this->window().value()); }));
}

TEST_F(HeaderBar, keysOfTheApplicationWorkInTheAboutWindow) {
    launchUntilReady();
    ASSERT_TRUE(opensAbout());
    EXPECT_TRUE(goesBy("ctrl+w", about));
    EXPECT_TRUE(window().has_value());

    for (const char* key : {"ctrl+h", "ctrl+q"}) {
        ASSERT_TRUE(opensAbout());
        EXPECT_TRUE(goesBy(key, about)) << key;
        EXPECT_TRUE(windowDisappears()) << key;
        EXPECT_TRUE(application->isRunning());
        EXPECT_EQ(launch()->waitForExit(patience), 0);
        EXPECT_TRUE(windowAppears());
        EXPECT_FALSE(session.visibleWindow(about)) << key;
    }
}

TEST_F(HeaderBar, tellsAboutTheApplicationAgainAfterTheDeathOfTheProgramThatDid) {
    launchUntilReady();
    ASSERT_TRUE(opensAbout());
    const auto before = processesNamed("zorvane-window");
    ASSERT_EQ(before.size(), 1U);
    ::kill(before.front().pid, SIGKILL);
    ASSERT_TRUE(eventually([&] {
        const auto now = processesNamed("zorvane-window");
        return now.size() == 1 && now.front().pid != before.front().pid && window().has_value();
    })) << application->standardError();
    EXPECT_FALSE(session.visibleWindow(about));
    ASSERT_TRUE(opensAbout());
    EXPECT_TRUE(goesBy("Escape", about));
    EXPECT_TRUE(window().has_value());
    EXPECT_EQ(serverLaunches(1).size(), 1U);
}

TEST_F(HeaderBar, showsTheToolTipOfTheStatusItemButNotOverItsMenu) {
    launchUntilReady();
    ASSERT_TRUE(statusButtonComesToBe(true));
    const WindowGeometry place = session.geometry(window().value());
    const auto toolTips = [&] { return session.popups().size() - (menu() ? 1 : 0); };
    int nudge = 0;
    const auto toolTipComes = [&](std::chrono::milliseconds limit = patience) {
        return eventually(
            [&] {
                session.movePointer(place.x + 26 + ++nudge % 2, place.y + 27);
                return eventually([&] { return toolTips() > 0; }, std::chrono::seconds(1));
            },
            limit);
    };
    ASSERT_TRUE(toolTipComes());
    EXPECT_FALSE(menu());
    session.click(place.x + 26, place.y + 27);
    ASSERT_TRUE(eventually([&] { return menu().has_value(); }));
    EXPECT_TRUE(eventually([&] { return toolTips() == 0; }));
    // It would come within half a second.
    EXPECT_FALSE(toolTipComes(std::chrono::seconds(2)));
    EXPECT_TRUE(menu().has_value());
    session.pressKey("Escape");
    ASSERT_TRUE(eventually([&] { return !menu(); }));
    session.movePointer(place.x + 300, place.y + 300);
    EXPECT_TRUE(toolTipComes());
}

TEST_F(HeaderBar, tellsInItsOpenMenuWhatBecomesOfTheServer) {
    letTheServerRunOnce();
    launchUntilReady();
    ASSERT_TRUE(statusButtonComesToBe(true));
    ASSERT_TRUE(showsTheServersPage()); // the application knows the server is there
    const WindowGeometry button = session.geometry(window().value());
    session.click(button.x + 26, button.y + 27);
    constexpr std::size_t rows = 12 + 5; // of text, and separators, which come last
    std::optional<WindowGeometry> place;
    std::vector<Box> before;
    ASSERT_TRUE(eventually([&] {
        place = menu();
        before = place ? linesAt(*place) : std::vector<Box>();
        return before.size() == rows;
    })) << before.size();

    const int height = place->height;
    ::kill(serverLaunches(1).front().pid, SIGKILL);
    // "Server: Starting ostrad..." comes where "Server: Online" was ...
    std::vector<Box> after;
    ASSERT_TRUE(eventually([&] {
        place = menu().value_or(*place); // as wide as what it says
        after = linesAt(*place);
        return after.size() == rows && after[1].width > before[1].width + 8;
    })) << after.size();
    // ... and nothing has moved.
    EXPECT_EQ(place->height, height);
    for (std::size_t row = 3; row < rows; ++row) {
        EXPECT_NEAR(after[row].y, before[row].y, 1) << row; // what became grey has fainter edges
        EXPECT_NEAR(after[row].height, before[row].height, 2) << row;
    }
    // The keyboard is on its first item still; the next one that can be chosen is "Restart Server".
    const std::size_t launches = serverLaunches(2).size();
    session.pressKey("Down");
    session.pressKey("Return");
    EXPECT_GT(serverLaunches(launches + 1).size(), launches);
}

class HeaderBarIn : public HeaderBar, public ::testing::WithParamInterface<ColourPreference> {};

TEST_P(HeaderBarIn, showsABoxInFrontOfWhatIsSwitchedOff) {
    const SettingsPortal portal(session, GetParam());
    launchUntilReady();
    ASSERT_TRUE(statusButtonComesToBe(true));
    const auto autostart = session.configHome() / "autostart";
    std::filesystem::create_directories(autostart);
    std::optional<Screenshot> off;
    Box tick;
    // Both anew as long as something else changes, too: what the rows say settles.
    ASSERT_TRUE(eventually([&] {
        std::filesystem::remove(autostart / "app.zorvane.desktop");
        off = statusMenu();
        std::ofstream(autostart / "app.zorvane.desktop")
            << "[Desktop Entry]\nType=Application\nName=Zorvane\nExec=\"" ZORVANE_APPLICATION
               "\"\n";
        const auto on = statusMenu();
        tick = off && on && on->width() == off->width() && on->height() == off->height()
                   ? off->boxOfDifference(*on)
                   : Box{};
        return tick.width > 0 && tick.width <= 24 && tick.height <= 24;
    })) << tick.width
        << " by " << tick.height;
    constexpr int around = 6;
    const Screenshot box = off->part({.x = tick.x - around,
                                      .y = tick.y - around,
                                      .width = tick.width + 2 * around,
                                      .height = tick.height + 2 * around});
    EXPECT_GE(box.contrast(), 3) << "of a control's outline, as WCAG 2 has it";
}

INSTANTIATE_TEST_SUITE_P(Every, HeaderBarIn,
                         ::testing::Values(ColourPreference::light, ColourPreference::dark),
                         [](const auto& test) {
                             return test.param == ColourPreference::dark ? "dark" : "light";
                         });

} // namespace
} // namespace desktop
