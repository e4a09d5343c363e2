// The header bar of the real application's window: the status item's button where there is no tray,
// the main menu with its keys, and the About window.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/Clipboard.h"
#include "tests/desktop/session/Panel.h"

#include <fmt/format.h>

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
            (void)eventually([&] { return menuIsOpen(place); }, std::chrono::seconds(2));
            for (const char* key : {"Down", "Down", "Return"}) {
                session.pressKey(key);
            }
            return eventually(
                [&] { return clipboardText(session.environment.at("DISPLAY")) == address; },
                std::chrono::seconds(2));
        });
    }
    // Text on one ground where the page was.
    [[nodiscard]] bool menuIsOpen(const WindowGeometry& place) const {
        const auto shot = session.screenshotOf(
            {.x = place.x + 30, .y = place.y + 70, .width = 180, .height = 60});
        return shot && shot->contrast() > 3;
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

    // Below the submenus "Edit" and "Window".
    [[nodiscard]] bool opensAbout() const {
        return eventually([&] {
            session.focus(window().value_or("root"));
            for (const char* key : {"F10", "Down", "Down", "Return"}) {
                session.pressKey(key);
            }
            return eventually([&] { return session.visibleWindow(about).has_value(); },
                              std::chrono::seconds(2));
        });
    }
};

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
    EXPECT_NE(iconOf(window).find(", 4294955366"), std::string::npos); // the gold, opaque
    EXPECT_EQ(iconOf(window), iconOf(this->window().value()));
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

} // namespace
} // namespace desktop
