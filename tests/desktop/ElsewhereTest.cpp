// A second launch of the same user in another session: another display, another session bus.
#include "tests/desktop/ApplicationTest.h"
#include "tests/platform/bus/PrivateBus.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace desktop {
namespace {

class Elsewhere : public ApplicationTest {
  protected:
    // For what is launched from then on.
    void moveToAnotherSession() {
        moveToAnotherBus();
        session.moveToAnotherDisplay();
    }
    void moveToAnotherBus() { session.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address(); }

    test_support::PrivateBus bus;
};

TEST_F(Elsewhere, itSaysWhereItRunsAndThatItCannotComeHere) {
    launchUntilReady();
    session.close(window().value());
    ASSERT_TRUE(windowDisappears());
    const std::string there = session.environment.at("DISPLAY");
    moveToAnotherSession();
    const auto second = launch();
    EXPECT_EQ(second->waitForExit(patience), 1);
    std::array<char, 256> host{};
    ASSERT_EQ(::gethostname(host.data(), host.size() - 1), 0);
    EXPECT_EQ(
        second->standardError(),
        fmt::format("app.zorvane is running already (process {} on {}, display {}) and cannot "
                    "show itself here (display {})\n",
                    application->pid(), host.data(), there, session.environment.at("DISPLAY")));
    EXPECT_TRUE(application->isRunning());
    EXPECT_EQ(processesNamed("ostrad").size(), 1U);
    session.environment["DISPLAY"] = there;
    EXPECT_FALSE(window().has_value());
}

TEST_F(Elsewhere, withTheSameDisplayItIsAskedToShowItself) {
    launchUntilReady();
    session.close(window().value());
    ASSERT_TRUE(windowDisappears());
    moveToAnotherBus();
    const auto second = launch();
    EXPECT_EQ(second->waitForExit(patience), 0) << second->standardError();
    EXPECT_TRUE(windowAppears());
}

TEST_F(Elsewhere, itMakesWayWhenItsOwnDisplayHasGone) {
    launchUntilReady();
    session.killDisplay();
    ASSERT_TRUE(eventually([&] {
        return application->standardError().find("it is waited for") != std::string::npos;
    }));
    moveToAnotherSession();
    const auto first = std::exchange(application, launch());
    EXPECT_EQ(first->waitForExit(patience), 0) << first->standardError();
    EXPECT_TRUE(windowAppears()) << application->standardError();
    EXPECT_TRUE(showsTheServersPage());
}

} // namespace
} // namespace desktop
