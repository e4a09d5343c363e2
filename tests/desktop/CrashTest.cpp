// Sudden deaths: of the server, of the page's process, of the application, of the display.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/PortStealer.h"
#include "tests/desktop/session/TrayHost.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>

namespace desktop {
namespace {

using ::testing::Contains;
using Crash = ApplicationTest;

TEST_F(Crash, ofTheServerIsFollowedByANewServerOnTheSamePortAndItsPage) {
    launchUntilReady();
    const ServerLaunch first = serverLaunches(1).front();
    ::kill(first.pid, SIGKILL);
    const std::vector<ServerLaunch> launches = serverLaunches(2);
    ASSERT_EQ(launches.size(), 2U) << application->standardError();
    EXPECT_NE(launches[1].pid, first.pid);
    EXPECT_EQ(launches[1].port, first.port);
    EXPECT_TRUE(eventually([&] { return serverAnswers(launches[1].port); }));
    EXPECT_TRUE(showsTheServersPage());
}

// Whoever takes the port is no server of ours: the page that stays on the screen, which goes on
// asking every few seconds, must not reach him.
TEST_F(Crash, ofTheServerLeavesNothingToAStrangerWhoTakesItsPort) {
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    const ServerLaunch first = serverLaunches(1).front();
    const PortStealer stranger(static_cast<std::uint16_t>(first.port), std::chrono::hours(1));
    ::kill(first.pid, SIGKILL);
    const std::vector<ServerLaunch> launches = serverLaunches(2);
    ASSERT_EQ(launches.size(), 2U) << application->standardError();
    EXPECT_EQ(stranger.thefts(), 1);
    EXPECT_NE(launches[1].port, first.port);
    EXPECT_TRUE(eventually([&] { return serverAnswers(launches[1].port); }));
    EXPECT_TRUE(showsTheServersPage());
    EXPECT_EQ(stranger.misdirected(), std::vector<std::string>());
}

TEST_F(Crash, ofThePagesProcessBringsThePageBackAndHurtsNobodyElse) {
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    const std::vector<Process> before = processesNamed("WebKitWebProcess");
    ASSERT_EQ(before.size(), 1U) << describe(session.processes());
    ::kill(before.front().pid, SIGKILL);
    ASSERT_TRUE(eventually([&] {
        const std::vector<Process> now = processesNamed("WebKitWebProcess");
        return now.size() == 1 && now.front().pid != before.front().pid;
    })) << describe(session.processes());
    EXPECT_TRUE(showsTheServersPage());
    EXPECT_TRUE(application->isRunning());
    EXPECT_EQ(serverLaunches(1).size(), 1U);
}

TEST_F(Crash, ofTheApplicationTakesTheServerAndThePageAlong) {
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    application->signal(SIGKILL);
    EXPECT_EQ(application->waitForExit(patience), -SIGKILL);
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

TEST_F(Crash, ofTheApplicationTakesAWindowProgramThatStandsStillAlong) {
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    const std::vector<Process> window = processesNamed("zorvane-window");
    ASSERT_EQ(window.size(), 1U) << describe(session.processes());
    ::kill(window.front().pid, SIGSTOP);
    application->signal(SIGKILL);
    EXPECT_EQ(application->waitForExit(patience), -SIGKILL);
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

TEST_F(Crash, ofTheDisplayHurtsNobodyElseAndTheWindowComesBackWithIt) {
    TrayHost tray(session);
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    ASSERT_TRUE(tray.hasItem());
    const ServerLaunch server = serverLaunches(1).front();
    // A display that goes, however often, says nothing against the program that shows the window.
    for (int time = 1; time <= 3; ++time) {
        session.killDisplay();
        ASSERT_TRUE(eventually([&] { return processesNamed("zorvane-window").empty(); }));
        EXPECT_TRUE(serverAnswers(server.port));
        EXPECT_THAT(tray.openMenu(), Contains("Show Zorvane Window"));
        session.restartDisplay();
        ASSERT_TRUE(windowAppears()) << application->standardError();
        EXPECT_TRUE(showsTheServersPage());
    }
    EXPECT_TRUE(application->isRunning());
    EXPECT_EQ(::kill(server.pid, 0), 0);
    EXPECT_EQ(serverLaunches(1).size(), 1U);
}

TEST_F(Crash, ofTheWindowProgramHurtsNobodyElseAndTheWindowComesBack) {
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    const ServerLaunch server = serverLaunches(1).front();
    session.resize(window().value_or(""), 1000, 720);
    ASSERT_TRUE(eventually([&] { return session.geometry(window().value()).width == 1000; }));
    const std::vector<Process> before = processesNamed("zorvane-window");
    ASSERT_EQ(before.size(), 1U);
    ::kill(before.front().pid, SIGKILL);
    ASSERT_TRUE(eventually([&] {
        const std::vector<Process> now = processesNamed("zorvane-window");
        return now.size() == 1 && now.front().pid != before.front().pid;
    })) << application->standardError();
    ASSERT_TRUE(windowAppears()) << application->standardError();
    EXPECT_TRUE(showsTheServersPage());
    EXPECT_TRUE(eventually([&] {
        const WindowGeometry geometry = session.geometry(window().value());
        return geometry.width == 1000 && geometry.height == 720;
    }));
    EXPECT_EQ(::kill(server.pid, 0), 0);
    EXPECT_EQ(serverLaunches(1).size(), 1U);
}

// Nobody has the page then.
TEST_F(Crash, ofTheWindowProgramWhileThereIsNoServerBringsTheStartingPage) {
    letTheServerRunOnce();
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    ::kill(serverLaunches(1).front().pid, SIGKILL);
    ASSERT_EQ(serverLaunches(2).size(), 2U) << application->standardError();
    ASSERT_TRUE(showsTheServersPageNow()) << "it stays displayed";
    const std::vector<Process> before = processesNamed("zorvane-window");
    ASSERT_EQ(before.size(), 1U) << describe(session.processes());
    ::kill(before.front().pid, SIGKILL);
    EXPECT_TRUE(showsTheStartingPage()) << application->standardError();
}

// A display may come back; one that has been gone for half a minute does not.
TEST_F(Crash, ofTheDisplayForGoodEndsTheApplicationInOrder) {
    launchUntilReady();
    const ServerLaunch server = serverLaunches(1).front();
    session.killDisplay();
    EXPECT_TRUE(eventually([&] { return processesNamed("zorvane-window").empty(); }));
    EXPECT_TRUE(serverAnswers(server.port));
    EXPECT_EQ(application->waitForExit(patience + patience), 0) << application->standardError();
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

TEST_F(Crash, ofTheApplicationIsNoObstacleToItsNextLaunch) {
    launchUntilReady();
    application->signal(SIGKILL);
    ASSERT_EQ(application->waitForExit(patience), -SIGKILL);
    launchUntilReady();
    EXPECT_TRUE(showsTheServersPage());
}

} // namespace
} // namespace desktop
