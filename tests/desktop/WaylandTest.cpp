// The real application on a Wayland desktop, where no program puts itself in front or sets the
// clipboard without the compositor's permission.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/SettingsPortal.h"
#include "tests/desktop/session/Stopwatch.h"
#include "tests/desktop/session/Sway.h"
#include "tests/desktop/session/TrayHost.h"
#include "tests/platform/bus/PrivateBus.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <fstream>

namespace desktop {
namespace {

class Wayland : public ApplicationTest {
  protected:
    ~Wayland() override {
        cover.reset();
        application.reset();
    }

    void launchUntilOnTheScreen() {
        application = launch();
        ASSERT_TRUE(eventually([&] { return sway.window("Zorvane").has_value(); }))
            << application->standardError();
    }
    // By another program's window.
    void coverTheWindow() {
        cover = session.start({ZORVANE_PROBE, "--id", "test.zorvane.cover", "--window", "cover"},
                              "cover");
        ASSERT_TRUE(eventually([&] { return sway.hasTheFocus("cover"); }))
            << cover->standardError();
        ASSERT_FALSE(sway.hasTheFocus("Zorvane"));
    }
    // sway gives the focus; windows that float stay one above the other.
    [[nodiscard]] bool comesToHaveTheFocus() const {
        return eventually([&] { return sway.hasTheFocus("Zorvane"); });
    }

    Sway sway{session};
    std::unique_ptr<Program> cover;
};

TEST_F(Wayland, showsAWindowOfTheApplicationWithAContentOf1200By800) {
    keepTheServerSilent();
    ASSERT_NO_FATAL_FAILURE(launchUntilOnTheScreen());
    EXPECT_EQ(sway.window("Zorvane")->applicationId, "app.zorvane"); // the desktop entry's name
    Box content;
    EXPECT_TRUE(eventually([&] {
        const auto shot = sway.screenshot();
        content = shot ? shot->boxOf(startingPageBackground) : Box{};
        return content.width == 1200 && content.height == 800;
    })) << content.width
        << " x " << content.height;
}

TEST_F(Wayland, followsTheDesktopIntoTheDark) {
    SettingsPortal portal(session, ColourPreference::light);
    ASSERT_NO_FATAL_FAILURE(launchUntilOnTheScreen());
    const auto isDark = [&](const Box& part) -> std::optional<bool> {
        const Box place = sway.window("Zorvane").value_or(SwayWindow{}).place;
        const auto shot = sway.screenshot(Box{.x = place.x + part.x,
                                              .y = place.y + part.y,
                                              .width = part.width,
                                              .height = part.height});
        return shot ? std::optional(relativeLuminance(shot->dominantColour()) < 0.2) : std::nullopt;
    };
    const auto comesToBe = [&](bool dark) {
        return eventually([&] {
            return isDark({.x = 150, .y = 12, .width = 200, .height = 24}) == dark && // header bar
                   isDark({.x = 100, .y = 200, .width = 1000, .height = 500}) == dark;
        });
    };
    EXPECT_TRUE(comesToBe(/*dark=*/false));
    portal.set(ColourPreference::dark);
    EXPECT_TRUE(comesToBe(/*dark=*/true));
    portal.set(ColourPreference::light);
    EXPECT_TRUE(comesToBe(/*dark=*/false));
}

TEST_F(Wayland, keepsNoWindowASecondAfterTheApplicationWasKilled) {
    ASSERT_NO_FATAL_FAILURE(launchUntilOnTheScreen());
    ASSERT_FALSE(serverLaunches(1).empty());
    const Stopwatch stopwatch;
    application->signal(SIGKILL);
    EXPECT_TRUE(noWindowIsLeft()) << describe(session.processes());
    EXPECT_TRUE(stopwatch.within(std::chrono::seconds(1)));
    EXPECT_TRUE(eventually([&] { return !sway.window("Zorvane"); }));
    EXPECT_EQ(application->waitForExit(patience), -SIGKILL);
    EXPECT_TRUE(eventually([&] { return processesNamed("ostrad").empty(); }))
        << describe(session.processes());
}

// Another display, another session bus.
TEST_F(Wayland, tellsALaunchInAnotherSessionWhereTheApplicationRuns) {
    ASSERT_NO_FATAL_FAILURE(launchUntilOnTheScreen());
    const std::filesystem::path folder = session.environment.at("XDG_RUNTIME_DIR");
    const std::filesystem::path there = folder / session.environment.at("WAYLAND_DISPLAY");
    const auto elsewhere = session.start(
        {"weston", "--backend=headless-backend.so", "--no-config", "--socket=elsewhere"},
        "elsewhere");
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(folder / "elsewhere"); }))
        << elsewhere->standardError();
    const test_support::PrivateBus bus;
    session.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    session.environment["WAYLAND_DISPLAY"] = "elsewhere";
    session.environment.erase("DISPLAY");
    const auto second = launch();
    EXPECT_EQ(second->waitForExit(patience), 1);
    EXPECT_THAT(
        second->standardError(),
        ::testing::EndsWith(fmt::format("display {}) and cannot show itself here (display {})\n",
                                        there.native(), (folder / "elsewhere").native())));
    EXPECT_TRUE(application->isRunning());
    EXPECT_EQ(processesNamed("ostrad").size(), 1U);
}

class WaylandTray : public Wayland {
  protected:
    void launchUntilInTheTray() {
        ASSERT_NO_FATAL_FAILURE(launchUntilOnTheScreen());
        ASSERT_TRUE(tray.hasItem()) << application->standardError();
        ASSERT_TRUE(eventually([&] { return std::ranges::count(tray.openMenu(), copy) == 1; }));
        address = fmt::format("http://127.0.0.1:{}/", serverLaunches(1).back().port);
    }
    void choose(const std::string& item) {
        (void)tray.openMenu();
        tray.click(item);
    }
    // Everything that was asked for before has reached the compositor when this has: both go the
    // same way.
    [[nodiscard]] bool copiesTheAddress() {
        choose(copy);
        return eventually([&] { return sway.clipboard() == address; });
    }
    // The one that shows the application's windows; the cover has one, too.
    [[nodiscard]] pid_t windowProgram() const {
        for (const Process& process : processesNamed("zorvane-window")) {
            if (process.parent == application->pid()) {
                return process.pid;
            }
        }
        return 0;
    }
    void replaceTheWindowProgram() {
        const pid_t before = windowProgram();
        ASSERT_NE(before, 0);
        ::kill(before, SIGKILL);
        ASSERT_TRUE(eventually([&] {
            const pid_t now = windowProgram();
            return now != 0 && now != before && sway.window("Zorvane").has_value();
        }));
    }
    // By another program.
    [[nodiscard]] bool somethingElseIsCopied(const std::string& text) {
        others.push_back(session.start({"wl-copy", "--foreground", text}, text));
        return eventually([&] { return sway.clipboard() == text; });
    }

    static constexpr const char* show = "Show Zorvane Window";
    static constexpr const char* copy = "Copy Server URL";

    TrayHost tray{session};
    std::string address;
    std::vector<std::unique_ptr<Program>> others;
};

TEST_F(WaylandTray, copiesWhileAnotherWindowHasTheFocus) {
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    ASSERT_NO_FATAL_FAILURE(coverTheWindow());
    ASSERT_TRUE(somethingElseIsCopied("one"));
    EXPECT_TRUE(copiesTheAddress()) << sway.clipboard();
    EXPECT_TRUE(sway.hasTheFocus("cover"));
    // Who copies later is not overruled by a window program that comes in the place of a dead one.
    ASSERT_TRUE(somethingElseIsCopied("two"));
    // What the compositor answers afterwards has come to the window program: so has that.
    tray.giveActivationToken(sway.activationToken().c_str());
    choose(show);
    ASSERT_TRUE(comesToHaveTheFocus());
    replaceTheWindowProgram();
    EXPECT_EQ(sway.clipboard(), "two");
    EXPECT_TRUE(copiesTheAddress()) << sway.clipboard();
}

TEST_F(WaylandTray, raisesTheCoveredWindowByTheTraysPermissionOnly) {
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    ASSERT_NO_FATAL_FAILURE(coverTheWindow());
    tray.giveActivationToken("made-up");
    choose(show);
    ASSERT_TRUE(copiesTheAddress());
    EXPECT_FALSE(sway.hasTheFocus("Zorvane"));

    const std::string token = sway.activationToken();
    ASSERT_FALSE(token.empty());
    tray.giveActivationToken(token.c_str());
    choose(show);
    EXPECT_TRUE(comesToHaveTheFocus());
}

TEST_F(WaylandTray, aSecondLaunchRaisesTheCoveredWindowByItsPermission) {
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    ASSERT_NO_FATAL_FAILURE(coverTheWindow());
    session.environment["XDG_ACTIVATION_TOKEN"] = sway.activationToken();
    EXPECT_EQ(launch()->waitForExit(patience), 0);
    EXPECT_TRUE(comesToHaveTheFocus());
}

// What the panel's own style says of its ground and of its menu's.
struct Style {
    const char* ground;
    Colour groundsColour;
};

class Waybar : public Wayland, public ::testing::WithParamInterface<Style> {
  protected:
    static constexpr Colour menusGround{.red = 0x12, .green = 0x34, .blue = 0x56};
    static constexpr int height = 40;

    void startPanel() {
        std::ofstream(session.folder() / "waybar.json")
            << R"({"layer": "top", "height": 40, "modules-right": ["tray"],)"
               R"( "tray": {"icon-size": 32}})";
        std::ofstream(session.folder() / "waybar.css")
            << "window#waybar { background: " << GetParam().ground
            << "; } menu { background: #123456; color: #ffffff; }";
        panel = session.start({"waybar", "--config", session.folder() / "waybar.json", "--style",
                               session.folder() / "waybar.css"},
                              "waybar");
    }
    [[nodiscard]] std::optional<Screenshot> icon() const {
        return sway.screenshot(Box{.x = 1400 - 40, .y = 0, .width = 40, .height = height});
    }
    [[nodiscard]] Box menu() const {
        const auto shot = sway.screenshot();
        return shot ? shot->boxOf(menusGround) : Box{};
    }

    std::unique_ptr<Program> panel;
};

// Graphics are seen at a contrast of 3, says WCAG 2.
TEST_P(Waybar, showsTheItemAndItsMenuThatQuits) {
    startPanel();
    ASSERT_NO_FATAL_FAILURE(launchUntilOnTheScreen());
    ASSERT_FALSE(serverLaunches(1).empty());
    ASSERT_TRUE(eventually([&] {
        const auto shot = icon();
        return shot && shot->dominantColour() == GetParam().groundsColour && shot->contrast() >= 3;
    })) << panel->standardError();

    // A menu that has got new lines meanwhile has its last item elsewhere: then once more.
    EXPECT_TRUE(eventually([&] {
        sway.click(1400 - 20, height / 2);
        Box open;
        (void)eventually(
            [&] {
                open = menu();
                return open.height > 100;
            },
            std::chrono::seconds(2));
        sway.click(open.x + open.width / 2, open.y + open.height - 14);
        return application->waitForExit(std::chrono::seconds(3)) == 0;
    })) << application->standardError();
}

INSTANTIATE_TEST_SUITE_P(
    On, Waybar,
    ::testing::Values(
        Style{.ground = "#202020", .groundsColour = {.red = 0x20, .green = 0x20, .blue = 0x20}},
        Style{.ground = "#f0f0f0", .groundsColour = {.red = 0xf0, .green = 0xf0, .blue = 0xf0}}),
    [](const auto& style) {
        return style.param.groundsColour.red < 128 ? "aDarkPanel" : "aLightPanel";
    });

} // namespace
} // namespace desktop
