// How soon a window is back after what shows it has died, with its size and the page it showed; and
// how soon it is gone when nobody is left to show it.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/PageServer.h"
#include "tests/desktop/session/Stopwatch.h"
#include "tests/desktop/session/TrayHost.h"

#include <algorithm>
#include <csignal>
#include <iterator>
#include <sstream>
#include <string_view>

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
    [[nodiscard]] std::ptrdiff_t timesAsked(const char* page) const {
        std::istringstream lines(server.asked());
        return std::count(std::istream_iterator<std::string>(lines),
                          std::istream_iterator<std::string>(), page);
    }

    PageServer server{session.folder()};
};

struct Death {
    const char* of;
    // The page is asked for again: what is on the screen could be the old one's last picture.
    bool takesThePage;
};

class ReturnAfterTheDeathOf : public Return, public ::testing::WithParamInterface<Death> {
  protected:
    // Bubblewrap is there for several of the engine's programs: those around the page's, of which
    // the second is a copy of the first. The page outlives the outer one alone.
    [[nodiscard]] std::vector<pid_t> victims() const {
        std::vector<pid_t> found;
        if (GetParam().of != std::string_view("bwrap")) {
            const std::vector<Process> named = processesNamed(GetParam().of);
            if (!named.empty()) {
                found.push_back(named.back().pid);
            }
            return found;
        }
        const std::vector<Process> all = session.processes();
        const std::vector<Process> pages = processesNamed("WebKitWebProcess");
        pid_t parent = pages.empty() ? 0 : pages.front().parent;
        for (auto wrap = std::ranges::find(all, parent, &Process::pid);
             wrap != all.end() && wrap->command.starts_with("/usr/bin/bwrap ");
             wrap = std::ranges::find(all, parent, &Process::pid)) {
            found.push_back(wrap->pid);
            parent = wrap->parent;
        }
        return found;
    }
    [[nodiscard]] bool areGone(const std::vector<pid_t>& killed) const {
        return std::ranges::none_of(session.processes(), [&](const Process& process) {
            return process.state != 'Z' && std::ranges::find(killed, process.pid) != killed.end();
        });
    }
    // The window is there all the time, or comes back, and what has to be has been loaded anew.
    [[nodiscard]] bool isBack(std::ptrdiff_t askedBefore) const {
        return window().has_value() &&
               (!GetParam().takesThePage || timesAsked("/second") > askedBefore);
    }
};

TEST_P(ReturnAfterTheDeathOf, takesThreeSecondsAtMost) {
    launchAndUse();
    const std::vector<pid_t> killed = victims();
    ASSERT_EQ(killed.size(), GetParam().of == std::string_view("bwrap") ? 2U : 1U)
        << describe(session.processes());
    const std::ptrdiff_t asked = timesAsked("/second");
    const Stopwatch stopwatch;
    for (const pid_t process : killed) {
        ::kill(process, SIGKILL);
    }
    EXPECT_TRUE(eventually([&] { return areGone(killed) && isBack(asked); }))
        << application->standardError() << describe(session.processes());
    EXPECT_TRUE(eventually([&] { return shows(secondPage) && hasItsSize(); }))
        << application->standardError();
    EXPECT_TRUE(stopwatch.within(std::chrono::seconds(3)));
    EXPECT_TRUE(application->isRunning());
    EXPECT_EQ(serverLaunches(1).size(), 1U);
    EXPECT_EQ(logged("until it is asked for"), 0U);
}

INSTANTIATE_TEST_SUITE_P(Every, ReturnAfterTheDeathOf,
                         ::testing::Values(Death{"zorvane-window", true},
                                           Death{"WebKitWebProcess", true},
                                           Death{"WebKitNetworkProcess", false},
                                           Death{"bwrap", true}),
                         [](const auto& test) {
                             std::string name = test.param.of;
                             std::erase(name, '-');
                             return name;
                         });

// Nothing is started for a window that nobody sees; once it is asked for it is as it was.
TEST_F(Return, waitsForTheUserWhoHasHiddenTheWindow) {
    TrayHost tray(session);
    launchAndUse();
    ASSERT_TRUE(tray.hasItem()) << application->standardError();
    session.close(window().value());
    ASSERT_TRUE(windowDisappears());
    const std::vector<Process> before = processesNamed("zorvane-window");
    ASSERT_EQ(before.size(), 1U) << describe(session.processes());
    ::kill(before.front().pid, SIGKILL);
    // The application has noticed, and by its second answer done what it does about it.
    ASSERT_TRUE(eventually([&] { return ::kill(before.front().pid, 0) != 0; }));
    (void)tray.openMenu();
    (void)tray.openMenu();
    EXPECT_TRUE(processesNamed("zorvane-window").empty()) << describe(session.processes());
    tray.click("Show Zorvane Window");
    EXPECT_TRUE(eventually([&] { return shows(secondPage) && hasItsSize(); }))
        << application->standardError();
}

TEST_F(Return, waitsForTheUserOnceThePageHasDiedThreeTimesWithinAMinute) {
    TrayHost tray(session);
    launchUntilReady();
    const auto isClosed = [&] {
        return logged("the page keeps crashing; the window is closed until it is asked for") == 1;
    };
    // Where it takes longer than that, the third counts as the second.
    for (std::ptrdiff_t death = 1; death <= 6 && !isClosed(); ++death) {
        ASSERT_TRUE(eventually([&] { return timesAsked("/") == death; }))
            << application->standardError();
        const std::vector<Process> pages = processesNamed("WebKitWebProcess");
        ASSERT_EQ(pages.size(), 1U) << describe(session.processes());
        ::kill(pages.front().pid, SIGKILL);
        ASSERT_TRUE(eventually([&] { return isClosed() || timesAsked("/") > death; }))
            << application->standardError();
    }
    EXPECT_TRUE(isClosed()) << application->standardError();
    EXPECT_TRUE(windowDisappears());
    EXPECT_TRUE(serverAnswers(serverLaunches(1).front().port));
    ASSERT_TRUE(tray.hasItem());
    (void)tray.openMenu();
    tray.click("Show Zorvane Window");
    EXPECT_TRUE(eventually([&] { return shows(firstPage); })) << application->standardError();
    EXPECT_EQ(serverLaunches(1).size(), 1U);
    EXPECT_TRUE(isClosed()) << "said once";
}

TEST_F(Return, doesNotHappenWithoutTheApplication) {
    launchAndUse();
    const Stopwatch stopwatch;
    application->signal(SIGKILL);
    EXPECT_TRUE(noWindowIsLeft()) << describe(session.processes());
    EXPECT_TRUE(stopwatch.within(std::chrono::seconds(1)));
    EXPECT_EQ(application->waitForExit(patience), -SIGKILL);
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

} // namespace
} // namespace desktop
