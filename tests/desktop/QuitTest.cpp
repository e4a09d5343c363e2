// The ways out of the application: the quit key only hides its window, a signal ends it, and its
// server goes with it.
#include "tests/desktop/ApplicationTest.h"

#include <csignal>
#include <cstring>

namespace desktop {
namespace {

using Quit = ApplicationTest;

class QuitBySignal : public ApplicationTest, public ::testing::WithParamInterface<int> {};

TEST_P(QuitBySignal, endsInOrderAndTakesTheServerAlong) {
    launchUntilReady();
    const ServerLaunch server = serverLaunches(1).front();
    application->signal(GetParam());
    EXPECT_EQ(application->waitForExit(patience), 0) << application->standardError();
    EXPECT_FALSE(serverAnswers(server.port));
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

INSTANTIATE_TEST_SUITE_P(Every, QuitBySignal, ::testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto& test) {
                             return std::string("SIG") + ::sigabbrev_np(test.param);
                         });

TEST_F(Quit, byTheQuitKeyHidesTheWindowAndKeepsTheServerRunning) {
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage()); // the page has the keyboard, and still cannot keep the key
    session.focus(window().value());
    session.pressKey("ctrl+q");
    EXPECT_TRUE(windowDisappears());
    EXPECT_TRUE(application->isRunning());
    EXPECT_TRUE(serverAnswers(serverLaunches(1).front().port));

    const auto second = launch();
    EXPECT_EQ(second->waitForExit(patience), 0);
    ASSERT_TRUE(windowAppears());
    session.focus(window().value());
    session.pressKey("ctrl+q"); // a window that was hidden once still has its shortcuts
    EXPECT_TRUE(windowDisappears());
}

TEST_F(Quit, byASignalWorksWhileTheWindowIsHidden) {
    launchUntilReady();
    session.close(window().value());
    ASSERT_TRUE(windowDisappears());
    application->signal(SIGTERM);
    EXPECT_EQ(application->waitForExit(patience), 0);
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

TEST_F(Quit, byASignalRightAfterTheLaunchLeavesNothingBehind) {
    application = launch();
    ASSERT_FALSE(serverLaunches(1).empty()) << application->standardError();
    application->signal(SIGTERM);
    EXPECT_EQ(application->waitForExit(patience), 0);
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

} // namespace
} // namespace desktop
