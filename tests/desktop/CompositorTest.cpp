// The application on Wayland: the compositor (weston, without a screen) dies, with or without
// another that comes at the same socket, or falls silent.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/PageServer.h"
#include "tests/desktop/session/Stopwatch.h"

#include <algorithm>
#include <csignal>

namespace desktop {
namespace {

class Compositor : public ApplicationTest {
  protected:
    Compositor() {
        session.environment["OSTRA_SIDECAR"] = server.program();
        session.environment["WAYLAND_DISPLAY"] = "test-compositor";
        session.environment["GDK_BACKEND"] = "wayland";
        startCompositor();
    }
    ~Compositor() override { application.reset(); }

    void startCompositor() {
        compositor = session.start({"weston", "--backend=headless-backend.so", "--no-config",
                                    "--idle-time=0", "--socket=test-compositor", "--debug"},
                                   "weston");
        EXPECT_TRUE(eventually([this] {
            return sceneOf().find("background") != std::string::npos;
        })) << compositor->standardError();
    }
    void killCompositor() {
        compositor->signal(SIGKILL);
        (void)compositor->waitForExit(patience);
    }
    void launchUntilItIsShown() {
        session.environment.erase("DISPLAY");
        application = launch();
        ASSERT_FALSE(serverLaunches(1).empty()) << application->standardError();
        ASSERT_TRUE(showsTheWindow()) << application->standardError() << sceneOf();
    }
    // What it draws, in weston's words.
    [[nodiscard]] std::string sceneOf() const {
        const auto asking = session.start({"weston-debug", "scene-graph"}, "scene");
        (void)asking->waitForExit(patience);
        return asking->standardOutput();
    }
    [[nodiscard]] bool showsTheWindow() const {
        return eventually(
            [this] { return sceneOf().find("window 'Zorvane'") != std::string::npos; });
    }
    [[nodiscard]] auto timesAsked() const { return std::ranges::count(server.asked(), '/'); }

    PageServer server{session.folder()};
    std::unique_ptr<Program> compositor;
};

TEST_F(Compositor, thatDiesHurtsNobodyElseAndTheWindowComesBackWithTheNext) {
    ASSERT_NO_FATAL_FAILURE(launchUntilItIsShown());
    ASSERT_TRUE(eventually([&] { return timesAsked() == 1; }));
    const ServerLaunch first = serverLaunches(1).front();
    killCompositor();
    ASSERT_TRUE(eventually([&] { return processesNamed("zorvane-window").empty(); }));
    EXPECT_TRUE(serverAnswers(first.port));
    EXPECT_FALSE(application->waitForExit(std::chrono::seconds(1))) << "it is waited for";
    startCompositor();
    EXPECT_TRUE(showsTheWindow()) << application->standardError() << sceneOf();
    EXPECT_TRUE(eventually([&] { return timesAsked() == 2; }));
    EXPECT_TRUE(application->isRunning());
    EXPECT_EQ(::kill(first.pid, 0), 0);
    EXPECT_EQ(serverLaunches(1).size(), 1U);
    application->signal(SIGTERM);
    EXPECT_EQ(application->waitForExit(patience), 0);
}

TEST_F(Compositor, thatDiesWithTheSessionBusEndsTheApplicationInOrder) {
    ASSERT_NO_FATAL_FAILURE(launchUntilItIsShown());
    session.killBus();
    const Stopwatch stopwatch;
    killCompositor();
    // Without waiting for another, which would take as long.
    EXPECT_EQ(application->waitForExit(std::chrono::seconds(25)), 0)
        << application->standardError();
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
    EXPECT_TRUE(stopwatch.within(std::chrono::seconds(8)));
}

TEST_F(Compositor, thatDoesNotAnswerHoldsUpNoEnd) {
    ASSERT_NO_FATAL_FAILURE(launchUntilItIsShown());
    const ServerLaunch first = serverLaunches(1).front();
    compositor->signal(SIGSTOP);
    const Stopwatch stopwatch;
    application->signal(SIGTERM);
    EXPECT_EQ(application->waitForExit(patience), 0) << application->standardError();
    EXPECT_NE(::kill(first.pid, 0), 0);
    EXPECT_TRUE(noWindowIsLeft()) << describe(session.processes());
    EXPECT_TRUE(stopwatch.within(std::chrono::seconds(8)));
    killCompositor(); // with its own programs
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

} // namespace
} // namespace desktop
