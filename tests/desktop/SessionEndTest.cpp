// The end of the desktop session, as a session manager announces it on the session bus: the
// question first, which the application may answer with no, then the end itself.
#include "tests/desktop/session/DesktopSession.h"
#include "tests/desktop/session/SessionManager.h"
#include "tests/desktop/session/Waiting.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace desktop {
namespace {

class SessionEnd : public ::testing::Test {
  protected:
    std::unique_ptr<Program> launch(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), ZORVANE_PROBE);
        auto program = session.start(arguments, "probe");
        (void)SessionManager::waitFor([&] {
            return manager.hasClient() &&
                   program->standardOutput().find("launched\n") != std::string::npos;
        });
        return program;
    }

    DesktopSession session;
    SessionManager manager{session.environment.at("DBUS_SESSION_BUS_ADDRESS")};
};

TEST_F(SessionEnd, isAskedForAndThenEndsTheApplicationInOrder) {
    const auto probe = launch({"--refuse"});
    EXPECT_TRUE(manager.ask());
    EXPECT_EQ(manager.inhibitors(), 0);
    EXPECT_TRUE(probe->isRunning()); // another application may still say no
    EXPECT_EQ(probe->standardOutput(), "launched\nshould terminate, aevt quit why logo\n");

    manager.endSession();
    ASSERT_TRUE(SessionManager::waitFor([&] { return !probe->isRunning(); }));
    EXPECT_EQ(probe->waitForExit(patience), 0);
    EXPECT_EQ(probe->standardOutput(), "launched\nshould terminate, aevt quit why logo\n"
                                       "will terminate, aevt quit why logo\nreturned 0\n");
}

TEST_F(SessionEnd, isHeldWhileTheDelegateRefuses) {
    const auto probe = launch({"--refuse-always"});
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(manager.ask());
        EXPECT_EQ(manager.inhibitors(), 1);
    }
    EXPECT_TRUE(probe->isRunning());
}

TEST_F(SessionEnd, isToldByTheSessionManagerOfABusThatFollowedAnother) {
    const auto probe = launch({});
    session.killBus();
    session.restartBus();
    const SessionManager next{session.environment.at("DBUS_SESSION_BUS_ADDRESS")};
    ASSERT_TRUE(SessionManager::waitFor([&] { return next.hasClient(); }));
    next.endSession();
    ASSERT_TRUE(SessionManager::waitFor([&] { return !probe->isRunning(); }));
    EXPECT_EQ(probe->waitForExit(patience), 0);
    EXPECT_EQ(probe->standardOutput(),
              "launched\nwill terminate, aevt quit why logo\nreturned 0\n");
}

TEST_F(SessionEnd, isFreeOnceTheDelegateHasAgreed) {
    const auto probe = launch({"--refuse-first"});
    EXPECT_TRUE(manager.ask());
    EXPECT_EQ(manager.inhibitors(), 1);
    EXPECT_TRUE(manager.ask());
    EXPECT_TRUE(SessionManager::waitFor([&] { return manager.inhibitors() == 0; }));
    EXPECT_TRUE(probe->isRunning());
}

} // namespace
} // namespace desktop
