// Each sign by which a session's end is told to the real application: it quits in order, and within
// eight seconds nothing is left. What only looks like such a sign ends nothing.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/Logind.h"
#include "tests/desktop/session/SessionManager.h"
#include "tests/desktop/session/Stopwatch.h"
#include "tests/platform/bus/PrivateBus.h"

#include <chrono>
#include <csignal>
#include <functional>

namespace desktop {
namespace {

class SessionSign : public ApplicationTest {
  protected:
    SessionSign() {
        session.environment["DBUS_SYSTEM_BUS_ADDRESS"] = systemBus.address();
        session.environment["XDG_SESSION_ID"] = "7";
    }

    void launchUntilItListens() {
        launchUntilReady();
        ASSERT_TRUE(Logind::waitFor([&] { return logind.wasAsked() && manager.hasClient(); }));
    }
    // But for the system bus.
    [[nodiscard]] bool nothingOfItIsLeft() const {
        return eventually(
            [this] { return session.processes().size() == processesNamed("dbus-daemon").size(); });
    }
    // Repeats the sign: a signal may come before it is subscribed to.
    void expectAnOrderlyEndBy(const std::function<void()>& sign) {
        const ServerLaunch server = serverLaunches(1).front();
        const Stopwatch stopwatch;
        EXPECT_TRUE(Logind::waitFor([&] {
            if (application->isRunning()) {
                sign();
                return false;
            }
            return true;
        }));
        EXPECT_TRUE(nothingOfItIsLeft()) << describe(session.processes());
        EXPECT_TRUE(stopwatch.within(std::chrono::seconds(8)));
        EXPECT_EQ(application->waitForExit(patience), 0) << application->standardError();
        EXPECT_NE(::kill(server.pid, 0), 0);
    }

    test_support::PrivateBus systemBus;
    Logind logind{systemBus.address()};
    SessionManager manager{session.environment.at("DBUS_SESSION_BUS_ADDRESS")};
};

TEST_F(SessionSign, ofASignalToTerminate) {
    launchUntilItListens();
    expectAnOrderlyEndBy([&] { application->signal(SIGTERM); });
}

TEST_F(SessionSign, ofASignalToHangUp) {
    launchUntilItListens();
    expectAnOrderlyEndBy([&] { application->signal(SIGHUP); });
}

TEST_F(SessionSign, ofTheSessionManager) {
    launchUntilItListens();
    expectAnOrderlyEndBy([&] { manager.endSession(); });
    EXPECT_TRUE(SessionManager::waitFor([&] { return manager.hasAnswered(); }));
}

TEST_F(SessionSign, ofASystemThatShutsDown) {
    launchUntilItListens();
    expectAnOrderlyEndBy([&] { logind.prepareForShutdown(true); });
}

TEST_F(SessionSign, ofASessionThatIsRemoved) {
    launchUntilItListens();
    expectAnOrderlyEndBy([&] { logind.removeSession(); });
}

TEST_F(SessionSign, ofASessionThatCloses) {
    launchUntilItListens();
    expectAnOrderlyEndBy([&] { logind.deactivateSession(/*closes=*/true); });
    EXPECT_TRUE(logind.tellsThatItCloses());
}

TEST_F(SessionSign, ofADisplayThatGoesWithItsSessionBus) {
    launchUntilItListens();
    const auto killed = std::chrono::steady_clock::now();
    session.killBus();
    session.killDisplay();
    expectAnOrderlyEndBy([] {});
    // It has not waited for another display.
    EXPECT_LT(std::chrono::steady_clock::now() - killed, std::chrono::seconds(30));
}

TEST_F(SessionSign, isNoneThatTheSessionIsLockedOrAnotherOneEnds) {
    launchUntilItListens();
    session.close(window().value_or(""));
    ASSERT_TRUE(windowDisappears());
    logind.lockSession();
    logind.prepareForShutdown(false);
    logind.removeAnotherSession();
    logind.deactivateSession(/*closes=*/false);
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    // Behind those on the same way: what comes of them has come before this has.
    const auto second = launch();
    EXPECT_TRUE(Logind::waitFor([&] { return !second->isRunning(); }));
    EXPECT_EQ(second->waitForExit(patience), 0);
    EXPECT_TRUE(windowAppears());
    EXPECT_TRUE(application->isRunning());
}

TEST_F(SessionSign, isHeardFromASystemBusThatFollowedAnother) {
    launchUntilItListens();
    systemBus.kill();
    systemBus.start();
    Logind next(systemBus.address());
    ASSERT_TRUE(Logind::waitFor([&] { return next.wasAsked(); }));
    expectAnOrderlyEndBy([&] { next.prepareForShutdown(true); });
}

} // namespace
} // namespace desktop
