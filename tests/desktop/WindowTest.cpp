// The real application's window, looked at pixel by pixel: its size, its colours, its icon.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/SettingsPortal.h"

#include <gmock/gmock.h>

namespace desktop {
namespace {

using ::testing::Le;

class WindowSize : public ApplicationTest {
  protected:
    explicit WindowSize(ScreenSize screen = {.width = 1600, .height = 1000})
        : ApplicationTest(screen) {}

    // What the starting page covers: the web view.
    [[nodiscard]] Box content() const {
        const auto shot = session.screenshot(window().value_or("root"));
        return shot ? shot->boxOf(startingPageBackground) : Box{};
    }
};

TEST_F(WindowSize, isThatOfAContentOf1200By800) {
    keepTheServerSilent();
    application = launch();
    ASSERT_TRUE(windowAppears()) << application->standardError();
    ASSERT_TRUE(showsTheStartingPage());
    const Box box = content();
    EXPECT_EQ(box.width, 1200);
    EXPECT_EQ(box.height, 800);
}

class SmallScreen : public WindowSize {
  protected:
    SmallScreen()
        : WindowSize({.width = 1024, .height = 640}) {}
};

TEST_F(SmallScreen, boundsTheWindow) {
    keepTheServerSilent();
    application = launch();
    ASSERT_TRUE(windowAppears()) << application->standardError();
    ASSERT_TRUE(eventually([&] { return content().width > 0; }));
    const WindowGeometry place = session.geometry(window().value());
    EXPECT_EQ(place.width, 1024);
    EXPECT_EQ(place.height, 640);
    const Box box = content();
    EXPECT_GT(box.width, 1000);
    EXPECT_THAT(box.x + box.width, Le(place.width));
    EXPECT_THAT(box.y + box.height, Le(place.height));
}

class WindowColours : public ApplicationTest {
  protected:
    [[nodiscard]] std::optional<Screenshot> partOfTheWindow(const Box& part) const {
        const WindowGeometry place = session.geometry(window().value_or("root"));
        return session.screenshotOf({.x = place.x + part.x,
                                     .y = place.y + part.y,
                                     .width = part.width,
                                     .height = part.height});
    }
    // The header bar beside its title, its button, and most of the page.
    [[nodiscard]] std::optional<Screenshot> header() const {
        return partOfTheWindow({.x = 150, .y = 12, .width = 200, .height = 30});
    }
    [[nodiscard]] std::optional<Screenshot> statusButton() const {
        return partOfTheWindow({.x = 14, .y = 15, .width = 24, .height = 24});
    }
    [[nodiscard]] std::optional<Screenshot> page() const {
        return partOfTheWindow({.x = 100, .y = 200, .width = 1000, .height = 500});
    }
    [[nodiscard]] bool comesToBe(bool dark) const {
        return eventually([&] {
            const auto bar = header();
            const auto shown = page();
            return bar && shown && isDark(*bar) == dark && isDark(*shown) == dark;
        });
    }
    // Unreadable is worse than 4.5, says WCAG 2 of text.
    [[nodiscard]] bool statusButtonIsSeen() const {
        return eventually([&] {
            const auto button = statusButton();
            return button && button->contrast() >= 4.5;
        });
    }
    [[nodiscard]] static bool isDark(const Screenshot& shot) {
        return relativeLuminance(shot.dominantColour()) < 0.2;
    }
};

TEST_F(WindowColours, areDarkOnADesktopThatIsDarkFromTheStart) {
    const SettingsPortal portal(session, ColourPreference::dark);
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    EXPECT_TRUE(comesToBe(/*dark=*/true));
    EXPECT_TRUE(statusButtonIsSeen()) << statusButton()->contrast();
}

TEST_F(WindowColours, followTheDesktopWhileTheWindowIsOpen) {
    SettingsPortal portal(session, ColourPreference::light);
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    EXPECT_TRUE(comesToBe(/*dark=*/false));
    EXPECT_TRUE(statusButtonIsSeen()) << statusButton()->contrast();
    portal.set(ColourPreference::dark);
    EXPECT_TRUE(comesToBe(/*dark=*/true));
    portal.set(ColourPreference::none);
    EXPECT_TRUE(comesToBe(/*dark=*/false));
}

TEST_F(WindowColours, areAskedForAgainWhenThePortalComesLater) {
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    EXPECT_TRUE(comesToBe(/*dark=*/false));
    const SettingsPortal portal(session, ColourPreference::dark);
    EXPECT_TRUE(comesToBe(/*dark=*/true));
}

} // namespace
} // namespace desktop
