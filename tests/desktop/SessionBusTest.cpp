// The session bus ends, and another comes at the same address.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/TrayHost.h"

#include <gmock/gmock.h>

#include <csignal>

namespace desktop {
namespace {

using ::testing::Contains;

class SessionBusTest : public ApplicationTest {
  protected:
    void hideTheWindow() {
        session.close(window().value());
        ASSERT_TRUE(windowDisappears());
    }
    // A tray that comes on the bus of this moment: the item registers, and its menu works.
    void showTheWindowByATray() {
        TrayHost tray(session);
        ASSERT_TRUE(tray.hasItem()) << application->standardError();
        ASSERT_THAT(tray.openMenu(), Contains("Show Zorvane Window"));
        tray.click("Show Zorvane Window");
        EXPECT_TRUE(windowAppears());
    }
};

TEST_F(SessionBusTest, thatFollowsOneThatEndedHasTheTrayItemAgain) {
    launchUntilReady();
    const ServerLaunch server = serverLaunches(1).front();
    hideTheWindow();
    showTheWindowByATray();
    for (int round = 0; round < 2; ++round) {
        session.killBus();
        hideTheWindow();
        session.restartBus();
        showTheWindowByATray();
    }
    EXPECT_TRUE(application->isRunning());
    EXPECT_EQ(::kill(server.pid, 0), 0);
    EXPECT_EQ(serverLaunches(1).size(), 1U);
}

TEST_F(SessionBusTest, thatHasEndedHoldsNothingUp) {
    launchUntilReady();
    hideTheWindow();
    session.killBus();
    const auto second = launch();
    EXPECT_EQ(second->waitForExit(patience), 0) << second->standardError();
    EXPECT_TRUE(windowAppears());
    application->signal(SIGTERM);
    EXPECT_EQ(application->waitForExit(patience), 0);
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

} // namespace
} // namespace desktop
