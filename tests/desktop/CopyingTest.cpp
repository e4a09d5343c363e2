// Copying on a Wayland desktop whose compositor (weston) lets only the window with the focus set
// the clipboard.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/NotificationArea.h"
#include "tests/desktop/session/TrayHost.h"

#include <fmt/format.h>

#include <algorithm>

namespace desktop {
namespace {

class Copying : public ApplicationTest {
  protected:
    ~Copying() override {
        cover.reset();
        application.reset();
    }

    // `backend` is where its screen and its input are: nowhere, or in a window of the X server's.
    void startCompositor(const std::string& backend) {
        session.environment["WAYLAND_DISPLAY"] = "test-compositor";
        compositor = session.start({"weston", "--backend=" + backend + "-backend.so", "--no-config",
                                    "--idle-time=0", "--socket=test-compositor", "--debug",
                                    "--width=1400", "--height=900"},
                                   "weston");
        ASSERT_TRUE(eventually([this] { return scene().find("background") != std::string::npos; }))
            << compositor->standardError();
        session.environment["GDK_BACKEND"] = "wayland";
    }
    void launchUntilInTheTray() {
        application = launch();
        ASSERT_TRUE(eventually([&] { return isShown("Zorvane"); })) << application->standardError();
        ASSERT_TRUE(tray.hasItem()) << application->standardError();
        ASSERT_TRUE(eventually([&] { return std::ranges::count(tray.openMenu(), copy) == 1; }));
        address = fmt::format("http://127.0.0.1:{}/", serverLaunches(1).back().port);
    }
    // A window of another program that takes the focus when it comes.
    void coverTheWindow() {
        cover = session.start({ZORVANE_PROBE, "--id", "test.zorvane.cover", "--window", "cover"},
                              "cover");
        ASSERT_TRUE(eventually([&] { return isShown("cover"); })) << cover->standardError();
    }

    // What the compositor draws, in weston's words.
    [[nodiscard]] std::string scene() const {
        const auto asking = session.start({"weston-debug", "scene-graph"}, "scene");
        (void)asking->waitForExit(patience);
        return asking->standardOutput();
    }
    [[nodiscard]] bool isShown(const std::string& title) const {
        return scene().find("window '" + title + "'") != std::string::npos;
    }
    [[nodiscard]] std::string clipboard() const {
        return session.ask({"timeout", "5", "wl-paste", "--no-newline"});
    }
    [[nodiscard]] bool isNotified(std::size_t times) const {
        return eventually([&] { return notifications.shown().size() >= times; });
    }

    static constexpr const char* copy = "Copy Server URL";

    NotificationArea notifications{session};
    TrayHost tray{session};
    std::unique_ptr<Program> compositor;
    std::unique_ptr<Program> cover;
    std::string address;
};

TEST_F(Copying, withoutAPermissionShowsTheTextInANotification) {
    ASSERT_NO_FATAL_FAILURE(startCompositor("headless"));
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    tray.click(copy);
    ASSERT_TRUE(isNotified(1)) << application->standardError();
    EXPECT_EQ(notifications.shown().front().title, "Zorvane");
    EXPECT_EQ(notifications.shown().front().text, address);
    // A permission that the compositor does not heed is waited for, then it is the same.
    tray.giveActivationToken("of-the-click");
    tray.click(copy);
    ASSERT_TRUE(isNotified(2)) << application->standardError();
    EXPECT_EQ(notifications.shown().back().text, address);
}

TEST_F(Copying, byTheTraysPermissionTakesTheFocusForAMoment) {
    ASSERT_NO_FATAL_FAILURE(startCompositor("x11"));
    ASSERT_NO_FATAL_FAILURE(launchUntilInTheTray());
    ASSERT_NO_FATAL_FAILURE(coverTheWindow());
    // Refused as soon as the window has lost the focus.
    ASSERT_TRUE(eventually([&] {
        tray.click(copy);
        return eventually([&] { return !notifications.shown().empty(); }, std::chrono::seconds(2));
    }));
    const auto before = notifications.shown().size();
    tray.giveActivationToken("of-the-click");
    tray.click(copy);
    EXPECT_TRUE(eventually([&] { return clipboard() == address; })) << clipboard();
    EXPECT_EQ(notifications.shown().size(), before);
    // The window that had the focus for it goes; its program stays.
    std::vector<Process> programs = processesNamed("zorvane-window");
    std::erase_if(programs, [&](const Process& one) { return one.parent != application->pid(); });
    ASSERT_EQ(programs.size(), 1U) << describe(session.processes());
    tray.giveActivationToken("of-another-click");
    tray.click(copy);
    EXPECT_FALSE(
        eventually([&] { return ::kill(programs.front().pid, 0) != 0; }, std::chrono::seconds(2)));
    EXPECT_EQ(clipboard(), address);
}

} // namespace
} // namespace desktop
