// How soon a window is back after what shows it has died, with its size and the page it showed; and
// how soon it is gone when nobody is left to show it.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/PageServer.h"
#include "tests/desktop/session/Stopwatch.h"

#include <algorithm>
#include <csignal>

namespace desktop {
namespace {

class Return : public ApplicationTest {
  protected:
    Return() { session.environment["OSTRA_SIDECAR"] = server.program(); }

    [[nodiscard]] bool shows(Colour page) const {
        const auto id = window();
        const auto shot = id ? session.screenshot(*id) : std::nullopt;
        return shot && shot->share(page, 4) > 0.8;
    }
    // The window has another size than at first, and shows another page.
    void launchAndUse() {
        launchUntilReady();
        ASSERT_TRUE(eventually([&] { return shows(firstPage); })) << application->standardError();
        session.resize(window().value(), 1000, 720);
        ASSERT_TRUE(eventually([&] { return hasItsSize(); }));
        ASSERT_TRUE(eventually([&] {
            session.click(window().value(), 500, 400);
            return eventually([&] { return shows(secondPage); }, std::chrono::seconds(2));
        }));
    }
    [[nodiscard]] bool hasItsSize() const {
        const auto id = window();
        const WindowGeometry geometry = id ? session.geometry(*id) : WindowGeometry();
        return geometry.width == 1000 && geometry.height == 720;
    }

    PageServer server{session.folder()};
};

class ReturnAfterTheDeathOf : public Return, public ::testing::WithParamInterface<const char*> {};

TEST_P(ReturnAfterTheDeathOf, takesThreeSecondsAtMost) {
    launchAndUse();
    const std::vector<Process> before = processesNamed(GetParam());
    ASSERT_FALSE(before.empty()) << describe(session.processes());
    const pid_t killed = before.back().pid;
    const Stopwatch stopwatch;
    ASSERT_EQ(::kill(killed, SIGKILL), 0);
    EXPECT_TRUE(eventually([&] {
        return std::ranges::none_of(
                   processesNamed(GetParam()),
                   [&](const Process& process) { return process.pid == killed; }) &&
               shows(secondPage) && hasItsSize();
    })) << application->standardError();
    EXPECT_TRUE(stopwatch.within(std::chrono::seconds(3)));
    EXPECT_TRUE(application->isRunning());
    EXPECT_EQ(serverLaunches(1).size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Every, ReturnAfterTheDeathOf,
                         ::testing::Values("zorvane-window", "WebKitNetworkProcess"),
                         [](const auto& test) {
                             std::string name = test.param;
                             std::erase(name, '-');
                             return name;
                         });

TEST_F(Return, doesNotHappenWithoutTheApplication) {
    launchAndUse();
    const Stopwatch stopwatch;
    application->signal(SIGKILL);
    EXPECT_TRUE(eventually([&] {
        return processesNamed("zorvane-window").empty() &&
               processesNamed("WebKitWebProcess").empty() &&
               processesNamed("WebKitNetworkProcess").empty();
    })) << describe(session.processes());
    EXPECT_TRUE(stopwatch.within(std::chrono::seconds(1)));
    EXPECT_EQ(application->waitForExit(patience), -SIGKILL);
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

} // namespace
} // namespace desktop
