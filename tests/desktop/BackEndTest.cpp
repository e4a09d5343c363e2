// The native platform's side of platform/Application.h and platform/WebWindow.h, seen through the
// probe (probe/main.cpp), which has no rules of its own.
#include "platform/posix/UniqueFd.h"
#include "tests/desktop/session/DesktopSession.h"
#include "tests/desktop/session/Waiting.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>

namespace desktop {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class BackEnd : public ::testing::Test {
  protected:
    void TearDown() override {
        if (HasFailure()) {
            const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
            session.keepEvidence(ZORVANE_FAILURES_DIR, fmt::format("BackEnd.{}", test->name()));
        }
    }

    std::unique_ptr<Program> launch(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), ZORVANE_PROBE);
        return session.start(arguments, fmt::format("probe-{}", ++launches_));
    }

    // Whether the program comes to say the line that often; a program that ended says no more.
    static bool says(Program& program, const std::string& line, std::size_t times = 1) {
        (void)eventually([&] { return !program.isRunning() || count(program, line) >= times; });
        return count(program, line) >= times;
    }

    static std::size_t count(const Program& program, const std::string& line) {
        const std::vector<std::string> said = lines(program);
        return static_cast<std::size_t>(std::ranges::count(said, line));
    }

    static std::vector<std::string> lines(const Program& program) {
        std::istringstream output(program.standardOutput());
        std::vector<std::string> result;
        for (std::string line; std::getline(output, line);) {
            result.push_back(line);
        }
        return result;
    }

    std::string awaitWindow(const std::string& title = "probe") {
        std::optional<std::string> window;
        (void)eventually([&] { return (window = session.visibleWindow(title)).has_value(); });
        return window.value_or("");
    }

    bool windowGoes() {
        return eventually([&] { return !session.visibleWindow("probe"); });
    }

    // The probe's page, whose colour tells how many web processes have died.
    bool showsThePage(const std::string& window, int deaths = 0) {
        const Colour colour{
            .red = 32, .green = 64, .blue = static_cast<std::uint8_t>(192 - 32 * deaths)};
        return eventually([&] {
            const auto shot = session.screenshot(window);
            return shot && shot->share(colour, 2) > 0.85;
        });
    }

    DesktopSession session;

  private:
    int launches_ = 0;
};

class Signals : public BackEnd, public ::testing::WithParamInterface<int> {};

TEST_P(Signals, areAQuitOfTheSessionAndEndTheApplicationInOrder) {
    const auto probe = launch({"--refuse"});
    ASSERT_TRUE(says(*probe, "launched")) << probe->standardError();
    probe->signal(GetParam());
    EXPECT_EQ(probe->waitForExit(patience), 0);
    EXPECT_THAT(lines(*probe), ElementsAre("launched", "should terminate, aevt quit why logo",
                                           "will terminate, aevt quit why logo", "returned 0"));
}

INSTANTIATE_TEST_SUITE_P(Every, Signals, ::testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto& test) {
                             return std::string("SIG") + ::sigabbrev_np(test.param);
                         });

TEST_F(BackEnd, keepsRunningWhenTheDelegateRefusesASignal) {
    const auto probe = launch({"--refuse-always"});
    ASSERT_TRUE(says(*probe, "launched"));
    probe->signal(SIGTERM);
    ASSERT_TRUE(says(*probe, "should terminate, aevt quit why logo"));
    probe->signal(SIGTERM);
    EXPECT_TRUE(says(*probe, "should terminate, aevt quit why logo", 2));
    EXPECT_TRUE(probe->isRunning());
    EXPECT_EQ(count(*probe, "will terminate, aevt quit why logo"), 0U);
}

// Whether the process ignores the signal, as the system lists it.
bool ignores(pid_t process, int signal) {
    std::istringstream status(readFile(fmt::format("/proc/{}/status", process)));
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("SigIgn:")) {
            const auto ignored = std::stoull(line.substr(line.find('\t')), nullptr, 16);
            return ((ignored >> static_cast<unsigned>(signal - 1)) & 1U) != 0;
        }
    }
    return false;
}

TEST_F(BackEnd, learnsHowItsChildrenEndThoughWhoStartedItIgnoresThat) {
    const auto idle = session.start({"env", "--ignore-signal=CHLD", "sleep", "1000"}, "idle");
    ASSERT_TRUE(eventually([&] { return ignores(idle->pid(), SIGCHLD); }));
    const auto probe = session.start({"env", "--ignore-signal=CHLD", ZORVANE_PROBE}, "probe");
    ASSERT_TRUE(says(*probe, "launched")) << probe->standardError();
    EXPECT_FALSE(ignores(probe->pid(), SIGCHLD));
}

TEST_F(BackEnd, takesNoHarmFromFurtherSignalsWhileItEnds) {
    const auto probe = launch({"--stop-milliseconds", "400"});
    ASSERT_TRUE(says(*probe, "launched"));
    probe->signal(SIGTERM);
    ASSERT_TRUE(says(*probe, "will terminate, aevt quit why logo"));
    EXPECT_TRUE(eventually([&] {
        for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
            probe->signal(number);
        }
        return !probe->isRunning();
    }));
    EXPECT_EQ(probe->waitForExit(patience), 0);
    EXPECT_EQ(count(*probe, "will terminate, aevt quit why logo"), 1U);
    EXPECT_EQ(count(*probe, "should terminate, aevt quit why logo"), 1U);
}

TEST_F(BackEnd, asksWithoutAnEventWhenTheQuitKeyIsPressed) {
    const auto probe = launch({"--window", "probe", "--refuse"});
    session.focus(awaitWindow());
    session.pressKey("ctrl+q");
    EXPECT_TRUE(says(*probe, "should terminate, no event"));
    EXPECT_TRUE(probe->isRunning());
}

TEST_F(BackEnd, endsOnTheQuitKeyWhenTheDelegateAgrees) {
    const auto probe = launch({"--window", "probe"});
    session.focus(awaitWindow());
    session.pressKey("ctrl+q");
    EXPECT_EQ(probe->waitForExit(patience), 0);
    EXPECT_THAT(lines(*probe), ElementsAre("launched", "should terminate, no event",
                                           "will terminate, no event", "returned 0"));
    EXPECT_TRUE(eventually([&] { return session.processes().empty(); }))
        << describe(session.processes());
}

TEST_F(BackEnd, hidesAClosedWindowBeforeItTellsAndKeepsRunning) {
    const auto probe = launch({"--window", "probe"});
    session.close(awaitWindow());
    EXPECT_TRUE(windowGoes());
    EXPECT_TRUE(says(*probe, "last window closed"));
    EXPECT_THAT(lines(*probe),
                ElementsAre("launched", "will close, visible: false", "last window closed"));
    EXPECT_TRUE(probe->isRunning());
}

TEST_F(BackEnd, endsAfterTheLastWindowWhenTheDelegateWantsIt) {
    const auto probe = launch({"--window", "probe", "--end-after-last-window"});
    session.close(awaitWindow());
    EXPECT_EQ(probe->waitForExit(patience), 0);
    EXPECT_EQ(count(*probe, "will terminate, no event"), 1U);
}

TEST_F(BackEnd, keepsAWindowThatIsNotClosable) {
    const auto probe = launch({"--window", "probe", "--keep-open"});
    session.focus(awaitWindow());
    session.pressKey("ctrl+w");
    session.pressKey("ctrl+q"); // arrives after the first key, so that one was handled by then
    ASSERT_TRUE(says(*probe, "should terminate, no event"));
    EXPECT_EQ(count(*probe, "will close, visible: false"), 0U);
}

TEST_F(BackEnd, reopensOnASecondLaunchWhichEndsWithSuccess) {
    const auto first = launch({"--window", "probe"});
    session.close(awaitWindow());
    ASSERT_TRUE(says(*first, "last window closed"));
    const auto second = launch({"--window", "probe"});
    EXPECT_EQ(second->waitForExit(patience), 0);
    EXPECT_THAT(lines(*second), ElementsAre("returned 0"));
    EXPECT_TRUE(says(*first, "reopen, visible windows: false"));
    EXPECT_NE(awaitWindow(), "");
}

TEST_F(BackEnd, bringsAVisibleWindowToTheFrontOnASecondLaunch) {
    const auto first = launch({"--window", "probe"});
    const std::string window = awaitWindow();
    const auto other = launch({"--id", "test.zorvane.other", "--window", "other"});
    ASSERT_NE(awaitWindow("other"), "");
    session.focus(awaitWindow("other"));
    const auto second = launch({"--window", "probe"});
    EXPECT_EQ(second->waitForExit(patience), 0);
    EXPECT_TRUE(says(*first, "reopen, visible windows: true"));
    EXPECT_TRUE(eventually([&] { return session.activeWindow() == window; }));
}

TEST_F(BackEnd, leavesTheWindowsAloneWhenTheDelegateHandlesTheReopenItself) {
    const auto first = launch({"--window", "probe", "--ignore-reopen"});
    session.close(awaitWindow());
    ASSERT_TRUE(says(*first, "last window closed"));
    const auto second = launch({});
    EXPECT_EQ(second->waitForExit(patience), 0);
    EXPECT_TRUE(says(*first, "reopen, visible windows: false"));
    EXPECT_FALSE(session.visibleWindow("probe"));
}

TEST_F(BackEnd, isOneInstanceWithoutASessionBus) {
    session.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent";
    const auto first = launch({});
    ASSERT_TRUE(says(*first, "launched")) << first->standardError();
    const auto second = launch({});
    EXPECT_EQ(second->waitForExit(patience), 0) << second->standardError();
    EXPECT_THAT(lines(*second), ElementsAre("returned 0"));
    EXPECT_TRUE(says(*first, "reopen, visible windows: false"));
}

TEST_F(BackEnd, isOneInstanceOnOneBusWithDifferentFolders) {
    const auto first = launch({});
    ASSERT_TRUE(says(*first, "launched"));
    session.environment["XDG_DATA_HOME"] = (session.folder() / "other-data").string();
    const auto second = launch({});
    EXPECT_EQ(second->waitForExit(patience), 0);
    EXPECT_THAT(lines(*second), ElementsAre("returned 0"));
    EXPECT_TRUE(says(*first, "reopen, visible windows: false"));
}

TEST_F(BackEnd, startsAfterAnInstanceThatCrashed) {
    const auto first = launch({});
    ASSERT_TRUE(says(*first, "launched"));
    first->signal(SIGKILL);
    ASSERT_EQ(first->waitForExit(patience), -SIGKILL);
    const auto second = launch({});
    EXPECT_TRUE(says(*second, "launched")) << second->standardError();
}

TEST_F(BackEnd, startsAgainWhenLaunchedWhileTheOldInstanceIsEnding) {
    const auto first = launch({"--stop-milliseconds", "1000"});
    ASSERT_TRUE(says(*first, "launched"));
    first->signal(SIGTERM);
    ASSERT_TRUE(says(*first, "will terminate, aevt quit why logo"));
    const auto second = launch({});
    EXPECT_TRUE(says(*second, "launched")) << second->standardError();
    EXPECT_FALSE(first->isRunning());
}

TEST_F(BackEnd, givesUpOnAnInstanceThatDoesNotAnswer) {
    session.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent";
    const auto first = launch({});
    ASSERT_TRUE(says(*first, "launched"));
    first->signal(SIGSTOP);
    const auto second = launch({});
    EXPECT_EQ(second->waitForExit(patience), 1);
    EXPECT_THAT(second->standardError(), HasSubstr("does not answer"));
    first->signal(SIGCONT);
}

TEST_F(BackEnd, keepsItsTitleAndSurvivesAPageThatClosesAndOpensWindows) {
    const auto probe = launch({"--window", "probe"});
    const std::string window = awaitWindow();
    EXPECT_TRUE(showsThePage(window));
    EXPECT_EQ(session.visibleWindow("probe"), window);
    EXPECT_TRUE(probe->isRunning());
}

TEST_F(BackEnd, reportsADeadWebProcessAndCanLoadAgain) {
    const auto probe = launch({"--window", "probe"});
    const std::string window = awaitWindow();
    ASSERT_TRUE(showsThePage(window));
    for (int deaths = 1; deaths <= 2; ++deaths) {
        for (const Process& process : session.processes()) {
            if (process.command.find("WebKitWebProcess") != std::string::npos &&
                process.command.find("bwrap") == std::string::npos) {
                ::kill(process.pid, SIGKILL);
            }
        }
        ASSERT_TRUE(says(*probe, "web process terminated", static_cast<std::size_t>(deaths)))
            << probe->standardError();
        EXPECT_TRUE(showsThePage(window, deaths));
    }
}

// A server that accepts and never answers.
class SilentServer {
  public:
    SilentServer() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        socklen_t size = sizeof address;
        EXPECT_EQ(::bind(listening_.get(), generic, size), 0);
        EXPECT_EQ(::listen(listening_.get(), 4), 0);
        EXPECT_EQ(::getsockname(listening_.get(), generic, &size), 0);
        port_ = ntohs(address.sin_port);
    }

    [[nodiscard]] std::string url() const { return fmt::format("http://127.0.0.1:{}/", port_); }

    // Accepts one request; whether the client gave up on it before the time was over.
    bool clientGivesUp(milliseconds limit) const {
        if (!waitReadable(listening_.get(), limit)) {
            return false;
        }
        const platform::posix::UniqueFd client(::accept(listening_.get(), nullptr, nullptr));
        std::array<char, 4096> buffer{};
        while (waitReadable(client.get(), limit)) {
            if (::recv(client.get(), buffer.data(), buffer.size(), 0) <= 0) {
                return true;
            }
        }
        return false;
    }

  private:
    static bool waitReadable(int descriptor, milliseconds limit) {
        pollfd entry{.fd = descriptor, .events = POLLIN, .revents = 0};
        return ::poll(&entry, 1, static_cast<int>(limit.count())) == 1;
    }

    platform::posix::UniqueFd listening_{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    int port_ = 0;
};

TEST_F(BackEnd, givesUpALoadWithoutAReplyAndShowsAnErrorPage) {
    const SilentServer server;
    const auto before = std::chrono::steady_clock::now();
    const auto probe = launch({"--window", "probe", "--url", server.url(), "--timeout", "2"});
    ASSERT_TRUE(server.clientGivesUp(patience));
    EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(2000));
    const std::string window = awaitWindow();
    // Text on white: WebKit's page for a load that failed.
    EXPECT_TRUE(eventually([&] {
        const auto shot = session.screenshot(window);
        return shot && shot->share({0xff, 0xff, 0xff}, 0) > 0.8 && shot->distinctColours() > 2;
    }));
}

TEST_F(BackEnd, remembersAWindowsSizeUnderItsName) {
    auto probe = launch({"--window", "probe", "--frame", "Some Name"});
    std::string window = awaitWindow();
    EXPECT_GE(session.geometry(window).width, 640);
    session.resize(window, 900, 700);
    ASSERT_TRUE(eventually([&] { // drawn so, and not only told so
        const auto shot = session.screenshot(window);
        const Box page = shot ? shot->boxOf({.red = 32, .green = 64, .blue = 192}) : Box{};
        return page.width > 850 && page.width <= 900 && page.height > 600;
    }));
    probe->signal(SIGTERM);
    ASSERT_EQ(probe->waitForExit(patience), 0);

    probe = launch({"--window", "probe", "--frame", "Some Name"});
    window = awaitWindow();
    EXPECT_TRUE(eventually([&] {
        const WindowGeometry geometry = session.geometry(window);
        return geometry.width == 900 && geometry.height == 700;
    }));
}

TEST_F(BackEnd, savesTheSizeSoonAfterItChangedSoThatACrashCostsNothing) {
    auto probe = launch({"--window", "probe", "--frame", "Crash"});
    const std::string window = awaitWindow();
    ASSERT_TRUE(showsThePage(window));
    session.resize(window, 800, 600);
    const std::filesystem::path defaults =
        session.configHome() / "test.zorvane.probe" / "defaults.ini";
    // The content's: what the page covers.
    EXPECT_TRUE(eventually([&] {
        const auto shot = session.screenshot(window);
        const Box page = shot ? shot->boxOf({.red = 32, .green = 64, .blue = 192}) : Box{};
        const std::string text = readFile(defaults);
        return session.geometry(window).width == 800 &&
               text.find(fmt::format("frame.Crash.width={}\n", page.width)) != std::string::npos &&
               text.find(fmt::format("frame.Crash.height={}\n", page.height)) != std::string::npos;
    })) << readFile(defaults);
}

TEST_F(BackEnd, neverOpensAWindowLargerThanTheScreenFromASavedSize) {
    const std::filesystem::path folder = session.configHome() / "test.zorvane.probe";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "defaults.ini")
        << "[defaults]\nframe.Large.width=9223372036854775807\nframe.Large.height=1000000\n";
    const auto probe = launch({"--window", "probe", "--frame", "Large"});
    const WindowGeometry geometry = session.geometry(awaitWindow());
    EXPECT_LE(geometry.width, 1600);
    EXPECT_LE(geometry.height, 1000);
    EXPECT_GT(geometry.width, 640);
}

TEST_F(BackEnd, keepsWebsiteDataInPrivateFolders) {
    const auto probe = launch({"--window", "probe"});
    ASSERT_TRUE(showsThePage(awaitWindow()));
    for (const std::filesystem::path& home : {session.dataHome(), session.cacheHome()}) {
        for (const std::filesystem::path& folder :
             {home / "test.zorvane.probe", home / "test.zorvane.probe" / "webkit"}) {
            EXPECT_EQ(std::filesystem::status(folder).permissions(),
                      std::filesystem::perms::owner_all)
                << folder;
        }
    }
    const std::filesystem::path lock = session.dataHome() / "test.zorvane.probe/instance.lock";
    EXPECT_EQ(std::filesystem::status(lock).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(BackEnd, writesNothingToTheTerminalWhenAllIsWell) {
    const auto probe = launch({"--window", "probe"});
    ASSERT_TRUE(showsThePage(awaitWindow()));
    probe->signal(SIGTERM);
    ASSERT_EQ(probe->waitForExit(patience), 0);
    std::istringstream said(probe->standardError());
    for (std::string line; std::getline(said, line);) {
        // The page's process, which is not ours, misses the accessibility bus of a whole desktop.
        EXPECT_TRUE(line.empty() || line.find("a11y bus") != std::string::npos) << line;
    }
}

TEST_F(BackEnd, goesOnWithoutTheSessionBus) {
    const auto probe = launch({"--window", "probe"});
    const std::string window = awaitWindow();
    ASSERT_TRUE(says(*probe, "launched"));
    session.killBus();
    const auto second = launch({}); // is answered by the first, which is still there
    EXPECT_EQ(second->waitForExit(patience), 0);
    EXPECT_TRUE(says(*probe, "reopen, visible windows: true"));
    EXPECT_EQ(session.visibleWindow("probe"), window);
    EXPECT_EQ(count(*probe, "will terminate, aevt quit why logo"), 0U);
}

TEST_F(BackEnd, saysInOneSentenceThatThereIsNoDisplay) {
    session.environment.erase("DISPLAY");
    const auto probe = launch({});
    EXPECT_EQ(probe->waitForExit(patience), 1);
    EXPECT_EQ(probe->standardError(),
              "no usable display (DISPLAY and WAYLAND_DISPLAY are not set)\n");
}

TEST_F(BackEnd, namesADisplayThatCannotBeUsed) {
    session.environment["DISPLAY"] = ":59999"; // above those that a display number is looked for
    const auto probe = launch({});
    EXPECT_EQ(probe->waitForExit(patience), 1);
    EXPECT_EQ(probe->standardError(),
              "no usable display (DISPLAY is \":59999\", WAYLAND_DISPLAY is not set)\n");
}

} // namespace
} // namespace desktop
