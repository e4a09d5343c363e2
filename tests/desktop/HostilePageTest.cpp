// Pages that hang, take all memory, ask without end, or lead elsewhere without end: the
// application's menu answers, it ends in time, and nothing is left.
#include "tests/desktop/PageTest.h"
#include "tests/desktop/session/PortStealer.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace desktop {
namespace {

class HostilePage : public PageTest {
  protected:
    // The script begins once the server knows that it does.
    static std::string page(const std::string& script) {
        return fmt::format("<body>hostile<script>onload = () => fetch('/report?begun')"
                           ".then(() => {{ {} }});</script>",
                           script);
    }
    // The numbers of the showings of a page that have said so.
    [[nodiscard]] std::vector<std::string> showings() const {
        constexpr std::string_view word = "asks-";
        std::ifstream reports(pages / "reports");
        std::vector<std::string> numbers;
        for (std::string line; std::getline(reports, line);) {
            if (line.starts_with(word)) {
                numbers.push_back(line.substr(word.size()));
            }
        }
        return numbers;
    }
    // In the middle of the window, and everything behind it is darker.
    [[nodiscard]] bool showsAQuestion() const {
        const auto shown = window();
        const WindowGeometry place = shown ? session.geometry(*shown) : WindowGeometry();
        const auto middle = session.screenshotOf({.x = place.x + place.width / 2 - 100,
                                                  .y = place.y + place.height / 2 - 50,
                                                  .width = 200,
                                                  .height = 100});
        const auto corner = session.screenshotOf(
            {.x = place.x + 20, .y = place.y + place.height - 40, .width = 20, .height = 20});
        if (!shown || !middle || !corner) {
            return false;
        }
        const double behind = relativeLuminance(corner->dominantColour());
        return behind > 0.05 && behind < 0.7 && middle->share(corner->dominantColour(), 4) < 0.5;
    }
    // Whether it ends in time once it has more memory than a page may have. How long it takes to
    // get that much is the computer's business.
    [[nodiscard]] bool endsForItsMemory(const Process& engine) const {
        const auto isGone = [&] {
            return std::ranges::none_of(
                processesNamed("WebKitWebProcess"),
                [&](const Process& process) { return process.pid == engine.pid; });
        };
        const auto hasTooMuch = [&] {
            constexpr long limit = 2048L * 1024 * 1024;
            std::ifstream file(fmt::format("/proc/{}/statm", engine.pid));
            long size = 0;
            long resident = 0;
            long shared = 0;
            file >> size >> resident >> shared;
            return (resident - shared) * ::sysconf(_SC_PAGESIZE) > limit;
        };
        return eventually([&] { return isGone() || hasTooMuch(); }, 3 * patience) &&
               eventually(isGone);
    }
    // Whether addresses come to the handler one a second, however many the page leads to, and no
    // process of the engine is made for them.
    void leadsElsewhereOnceASecond() {
        std::set<pid_t> engines;
        const auto begin = std::chrono::steady_clock::now();
        ASSERT_TRUE(eventually([&] {
            for (const Process& process : processesNamed("WebKitWebProcess")) {
                engines.insert(process.pid);
            }
            return handled().size() >= 3;
        })) << application->standardError();
        const auto passed = std::chrono::steady_clock::now() - begin;
        EXPECT_LE(
            handled().size(),
            static_cast<std::size_t>(std::chrono::ceil<std::chrono::seconds>(passed).count()) + 2);
        EXPECT_LE(engines.size(), 2U);
        EXPECT_EQ(logged("leads elsewhere more than once a second"), 1U);
    }
};

TEST_F(HostilePage, thatHangsHoldsUpNothing) {
    launchWithPage(page("for (;;);"));
    ASSERT_TRUE(reports("begun"));
    EXPECT_TRUE(menuAnswersAtOnce());
    quit();
}

// Without the sandbox nothing but the window program ends it: the engine itself waits ten seconds.
TEST_F(HostilePage, thatHangsWithoutASandboxGoesWithTheApplicationThatIsKilled) {
    session.useInsteadOfBubblewrap("#!/bin/sh\nexit 1\n");
    launchWithPage(page("for (;;);"));
    ASSERT_TRUE(reports("begun"));
    ASSERT_FALSE(processesNamed("WebKitWebProcess").empty());
    application->signal(SIGKILL);
    EXPECT_TRUE(application->waitForExit(patience).has_value());
    EXPECT_TRUE(eventually([&] { return processesNamed("WebKitWebProcess").empty(); },
                           std::chrono::seconds(8)))
        << describe(session.processes());
}

TEST_F(HostilePage, thatTakesAllMemoryIsEnded) {
    launchWithPage(page("const all = []; for (;;) {"
                        " try { all.push(new Uint8Array(1 << 26).fill(1)); } catch (e) {}"
                        " const until = performance.now() + 100; while (performance.now() < until);"
                        "}"));
    ASSERT_TRUE(reports("begun"));
    const auto before = processesNamed("WebKitWebProcess");
    ASSERT_FALSE(before.empty());
    EXPECT_TRUE(menuAnswersAtOnce());
    EXPECT_TRUE(endsForItsMemory(before.front()));
    EXPECT_TRUE(menuAnswersAtOnce());
    quit();
}

// A page that hangs with more than it may have, not one that goes on taking what the computer has.
TEST_F(HostilePage, thatTakesTooMuchMemoryWhileItIsHiddenIsEnded) {
    launchWithPage("<body>hostile<script>"
                   "document.onvisibilitychange = () => { const all = [];"
                   " for (let n = 0; n < 40; ++n) all.push(new Uint8Array(1 << 26).fill(1));"
                   " for (;;); };"
                   "fetch('/report?begun');</script>");
    ASSERT_TRUE(reports("begun"));
    const auto before = processesNamed("WebKitWebProcess");
    ASSERT_FALSE(before.empty());
    session.close(window().value_or(""));
    EXPECT_TRUE(endsForItsMemory(before.front()));
    EXPECT_TRUE(menuAnswersAtOnce());
    quit();
}

TEST_F(HostilePage, thatShowsAlertsWithoutEndIsNotHeardAnyMore) {
    launchWithPage(page("for (let n = 0; n < 5000; ++n) alert(n);"
                        "fetch('/report?silent').then(() => { for (;;) alert('again'); });"));
    ASSERT_TRUE(reports("begun"));
    EXPECT_TRUE(menuAnswersAtOnce());
    EXPECT_TRUE(eventually([&] {
        session.focus(window().value_or(""));
        session.pressKey("Return");
        return eventually([&] { return hasReported("silent"); }, std::chrono::milliseconds(100));
    }));
    EXPECT_TRUE(menuAnswersAtOnce());
    quit();
}

TEST_F(HostilePage, thatOpensWindowsWithoutEndOpensOnePageASecond) {
    handleScheme("http");
    launchWithPage(page("setInterval(() => { for (let n = 0; n < 20; ++n)"
                        " window.open('http://elsewhere.invalid/' + n); }, 10);"));
    ASSERT_TRUE(reports("begun"));
    EXPECT_TRUE(menuAnswersAtOnce());
    leadsElsewhereOnceASecond();
    quit();
}

class HostileScheme : public HostilePage, public ::testing::WithParamInterface<const char*> {};

TEST_P(HostileScheme, withoutEndIsOpenedOnceASecond) {
    handleScheme(GetParam());
    launchWithPage(
        page(fmt::format("setInterval(() => {{ location = '{}:someone'; }}, 5);", GetParam())));
    ASSERT_TRUE(reports("begun"));
    EXPECT_TRUE(menuAnswersAtOnce());
    leadsElsewhereOnceASecond();
    quit();
}

INSTANTIATE_TEST_SUITE_P(Every, HostileScheme, ::testing::Values("mailto", "x-unknown"),
                         [](const auto& test) {
                             std::string name = test.param;
                             std::erase(name, '-');
                             return name;
                         });

TEST_F(HostilePage, thatLeadsToAnotherHostGoesToTheBrowserAndTheWindowKeepsItsPage) {
    handleScheme("http");
    launchWithPage("<body><a href='http://elsewhere.invalid/link' "
                   "style='position:fixed;inset:0'>go</a><script>fetch('/report?begun')</script>");
    ASSERT_TRUE(reports("begun"));
    const std::string shown = window().value_or("");
    session.focus(shown);
    const WindowGeometry area = session.geometry(shown);
    EXPECT_TRUE(eventually([&] {
        session.click(shown, area.width / 2, area.height / 2);
        return eventually([&] { return !handled().empty(); }, std::chrono::seconds(2));
    }));
    EXPECT_THAT(handled(), ::testing::Contains("http://elsewhere.invalid/link"));
    quit();
}

// The page goes where it is told to, once it is told, and says so afterwards if it is still there.
TEST_F(HostilePage, staysWhereItIsWhenNobodySaysWithinFiveSecondsThatItMayGo) {
    std::ofstream(pages / "second.html") << "<script>fetch('/report?second')</script>";
    launchWithPage("<body>first<script>"
                   "const told = async name => { for (;;) { try {"
                   "  if ((await fetch('/' + name)).ok) return; } catch (e) {}"
                   "  await new Promise(done => setTimeout(done, 100)); } };"
                   "(async () => { await fetch('/report?begun'); await told('go');"
                   "  location = '/second.html';"
                   "  await new Promise(done => setTimeout(done, 7000));"
                   "  await fetch('/report?waited'); await told('say');"
                   "  await fetch('/report?here'); location = '/second.html'; })();</script>");
    ASSERT_TRUE(reports("begun"));
    application->signal(SIGSTOP);
    std::ofstream(pages / "go") << "go";
    EXPECT_TRUE(reports("waited"));
    application->signal(SIGCONT);
    EXPECT_TRUE(menuAnswersAtOnce());
    std::ofstream(pages / "say") << "say";
    EXPECT_TRUE(reports("here"));
    EXPECT_TRUE(reports("second"));
    quit();
}

TEST_F(HostilePage, thatWaitsForAnAnswerIsShownAnewWhenTheWindowProgramDies) {
    // Each showing of the page has a number of its own. One that loses its window may be told "no"
    // while it goes.
    launchWithPage("<body><script>const mine = Date.now(); onload = () =>"
                   " fetch('/report?asks-' + mine).then(() =>"
                   " fetch('/report?answered-' + confirm('Really?') + '-' + mine));</script>");
    ASSERT_TRUE(eventually([&] { return showsAQuestion(); }));
    const auto before = processesNamed("zorvane-window");
    ASSERT_EQ(before.size(), 1U);
    ASSERT_EQ(showings().size(), 1U);
    const std::string first = showings().front();
    ::kill(before.front().pid, SIGKILL);
    ASSERT_TRUE(eventually([&] {
        const auto now = processesNamed("zorvane-window");
        return now.size() == 1 && now.front().pid != before.front().pid && showings().size() == 2 &&
               showsAQuestion();
    })) << application->standardError();
    const std::string second = showings().back();
    EXPECT_TRUE(eventually([&] {
        session.focus(window().value_or(""));
        session.pressKey("Return");
        return eventually([&] { return hasReported("answered-true-" + second); },
                          std::chrono::seconds(2));
    }));
    EXPECT_FALSE(hasReported("answered-true-" + first));
    EXPECT_FALSE(hasReported("answered-false-" + second));
    EXPECT_TRUE(menuAnswersAtOnce());
    quit();
}

// A dialog with a main loop of its own would hold up the page as well.
TEST_F(HostilePage, thatPrintsHoldsUpNoQuit) {
    launchWithPage(page("print(); fetch('/report?goes-on');"));
    ASSERT_TRUE(eventually([&] { return session.visibleWindow("Print").has_value(); }));
    EXPECT_TRUE(reports("goes-on"));
    EXPECT_TRUE(menuAnswersAtOnce());
    quit();
}

// The new server has another port, and takes its time for the first page: the old page, which asks
// without end, is gone before anything is asked over the network again.
TEST_F(HostilePage, thatIsLeftBehindDoesNotReachAStrangerWhileTheNextOneComes) {
    ASSERT_NO_FATAL_FAILURE(
        launchWithPage(page("setInterval(() => fetch('/report?asks').catch(() => {}), 10)")));
    ASSERT_TRUE(reports("asks"));
    const ServerLaunch first = serverLaunches(1).front();
    const PortStealer stranger(static_cast<std::uint16_t>(first.port), std::chrono::hours(1));
    std::ofstream(pages / "hold") << "";
    writePage("<script>fetch('/report?next')</script>");
    ::kill(first.pid, SIGKILL);
    const std::vector<ServerLaunch> launches = serverLaunches(2);
    ASSERT_EQ(launches.size(), 2U) << application->standardError();
    ASSERT_NE(launches[1].port, first.port);
    // What it asked in the moment before anybody knew of the server's end.
    const std::vector<std::string> before = stranger.misdirected();
    EXPECT_TRUE(showsTheStartingPage());
    std::filesystem::remove(pages / "hold");
    EXPECT_TRUE(reports("next"));
    EXPECT_EQ(stranger.misdirected(), before);
}

} // namespace
} // namespace desktop
