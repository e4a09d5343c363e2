// The offer to move: the real application started from a folder where nothing is installed, with
// an empty home.
#include "tests/desktop/ApplicationTest.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace desktop {
namespace {

using std::filesystem::path;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class Install : public ApplicationTest {
  protected:
    static constexpr const char* offer = "Move Zorvane to the Applications folder";

    void launchFromDownloads() {
        // Where this folder exists and can be written, the application would be moved there.
        ASSERT_NE(::access("/Applications", W_OK), 0) << "this machine has /Applications";
        copyTheBundleTo(downloaded);
        session.environment.erase("OSTRA_DEV_NO_MOVE");
        application =
            session.start({(downloaded / "Contents/MacOS/Zorvane").string()}, "application");
        ASSERT_TRUE(eventually([&] { return prompt().has_value(); }))
            << application->standardError();
        session.focus(*prompt());
    }

    static void copyTheBundleTo(const path& place) {
        const path built = path(ZORVANE_APPLICATION).parent_path().parent_path().parent_path();
        std::filesystem::create_directories(place.parent_path());
        std::filesystem::copy(built, place,
                              std::filesystem::copy_options::recursive |
                                  std::filesystem::copy_options::copy_symlinks);
    }
    // Of a link, too, that leads nowhere.
    [[nodiscard]] static bool isThere(const path& file) {
        return std::filesystem::exists(std::filesystem::symlink_status(file));
    }

    // The question mark at the end has a meaning of its own where windows are looked for.
    [[nodiscard]] std::optional<std::string> prompt() const {
        return session.visibleWindow(std::string(offer) + "[?]");
    }

    [[nodiscard]] std::optional<Screenshot> pictureOfThePrompt() const {
        return session.screenshot(prompt().value_or("root"));
    }

    path downloaded = session.folder() / "Downloads/Zorvane.app";
    path installed = session.folder() / "home/Applications/Zorvane.app";
    path autostart = session.configHome() / "autostart/app.zorvane.desktop";
    path launcher = session.dataHome() / "applications/app.zorvane.desktop";
    path launchersIcon = session.dataHome() / "icons/hicolor/scalable/apps/app.zorvane.svg";
};

TEST_F(Install, goesOnFromWhereItIsWhenTheUserDoesNotWantToMove) {
    launchFromDownloads();
    EXPECT_FALSE(window().has_value());
    EXPECT_TRUE(processesNamed("ostrad").empty());
    session.pressKey("Escape");
    EXPECT_TRUE(windowAppears()) << application->standardError();
    const auto launches = serverLaunches(1);
    ASSERT_FALSE(launches.empty());
    EXPECT_TRUE(eventually([&] { return serverAnswers(launches.front().port); }));
    EXPECT_FALSE(std::filesystem::exists(installed.parent_path()));
    EXPECT_FALSE(std::filesystem::exists(autostart));
    EXPECT_FALSE(std::filesystem::exists(launcher));
    application->signal(SIGTERM);
    EXPECT_EQ(application->waitForExit(patience), 0);
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(Install, goesOnFromWhereItIsWhenTheProgramThatAsksDies) {
    launchFromDownloads();
    const auto windows = processesNamed("zorvane-window");
    ASSERT_EQ(windows.size(), 1U) << describe(session.processes());
    ::kill(windows.front().pid, SIGKILL);
    EXPECT_TRUE(windowAppears()) << application->standardError();
    EXPECT_TRUE(showsTheServersPage()) << application->standardError();
    EXPECT_FALSE(prompt().has_value());
    EXPECT_FALSE(std::filesystem::exists(installed.parent_path()));
    EXPECT_TRUE(application->isRunning());
}

TEST_F(Install, movesAndRelaunchesAndTheOldInstanceGoes) {
    launchFromDownloads();
    session.pressKey("Return");
    EXPECT_EQ(application->waitForExit(patience), 0) << application->standardError();
    // The new instance logs to the same place.
    const auto launches = serverLaunches(1);
    ASSERT_EQ(launches.size(), 1U) << application->standardError();
    EXPECT_TRUE(eventually([&] { return serverAnswers(launches.front().port); }));
    EXPECT_TRUE(windowAppears());

    const auto running = processesNamed("Zorvane");
    ASSERT_EQ(running.size(), 1U);
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(running[0].pid) + "/exe"),
              installed / "Contents/MacOS/Zorvane");
    EXPECT_TRUE(std::filesystem::exists(downloaded / "Contents/Info.plist"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(installed.parent_path()), {}), 1);
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(autostart); }));
    EXPECT_THAT(readFile(autostart), HasSubstr(installed.string()));
    EXPECT_THAT(readFile(autostart), HasSubstr("\nIcon=app.zorvane\n"));
    const std::string program = (installed / "Contents/MacOS/Zorvane").string();
    EXPECT_THAT(readFile(launcher),
                AllOf(HasSubstr("\nName=Zorvane\n"), HasSubstr("\nExec=\"" + program + "\"\n"),
                      HasSubstr("\nTryExec=" + program + "\n"), HasSubstr("\nIcon=app.zorvane\n")));
    EXPECT_THAT(readFile(launchersIcon), HasSubstr("<svg"));
    // Neither question nor toolkit has anything to say to the terminal.
    EXPECT_THAT(
        application->standardError(),
        AllOf(Not(HasSubstr("WARNING")), Not(HasSubstr("Gtk")), Not(HasSubstr("CRITICAL"))));

    ::kill(running[0].pid, SIGTERM);
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(Install, takesItsLauncherAlongWhenTheBundleHasGone) {
    copyTheBundleTo(installed);
    application = session.start({(installed / "Contents/MacOS/Zorvane").string()}, "application");
    ASSERT_TRUE(windowAppears()) << application->standardError();
    EXPECT_TRUE(isThere(launcher));
    EXPECT_TRUE(isThere(launchersIcon));
    std::filesystem::remove_all(installed);
    application->signal(SIGTERM);
    EXPECT_EQ(application->waitForExit(patience), 0) << application->standardError();
    EXPECT_FALSE(isThere(launcher));
    EXPECT_FALSE(isThere(launchersIcon));
}

TEST_F(Install, takesTheLauncherOfAnEarlierBundleAwayAtItsStart) {
    std::filesystem::create_directories(launcher.parent_path());
    std::ofstream(launcher) << "[Desktop Entry]\nType=Application\nName=Zorvane\nTryExec="
                            << (installed / "Contents/MacOS/Zorvane").string() << '\n';
    application = launch();
    ASSERT_TRUE(windowAppears()) << application->standardError();
    EXPECT_FALSE(isThere(launcher));
}

TEST_F(Install, asksOnceWithTheApplicationsIconAndTheDefaultMarked) {
    launchFromDownloads();
    // Nobody draws a title that would ask again: there is no frame, and the text stands at the
    // icon.
    EXPECT_THAT(session.ask({"xprop", "-id", *prompt(), "_NET_FRAME_EXTENTS"}),
                HasSubstr("= 0, 0, 0, 0"));
    ASSERT_TRUE(eventually([&] {
        const auto shot = pictureOfThePrompt();
        return shot && shot->boxOf(iconsGold).height > 2;
    }));
    const WindowGeometry place = session.geometry(*prompt());
    const int half = place.width / 2;
    const auto button = [&](int x) {
        return session
            .screenshotOf({.x = place.x + x,
                           .y = place.y + place.height - 52,
                           .width = half - 60,
                           .height = 26})
            .value()
            .dominantColour();
    };
    const Colour other = button(30);
    const Colour first = button(half + 30);
    EXPECT_GT(first.blue - first.red, 60); // the theme's accent
    EXPECT_LT(std::abs(other.blue - other.red), 20);
}

TEST_F(Install, leavesNothingRunningWhenItIsToldToEndDuringTheQuestion) {
    launchFromDownloads();
    application->signal(SIGTERM);
    EXPECT_EQ(application->waitForExit(patience), 0);
    EXPECT_TRUE(nothingIsLeft());
    EXPECT_FALSE(std::filesystem::exists(installed));
}

} // namespace
} // namespace desktop
