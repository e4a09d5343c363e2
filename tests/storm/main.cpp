// The real application in a storm: killed at random moments with servers of several kinds, started
// beside a stranger who steals its port, and started by somebody who limits, ignores and blocks
// what he can. Nothing may be left after eight seconds, no stranger may be asked for more than its
// health, and every start must end in service or in a sentence: never in a signal or a hang. Says
// what it saw, and exits with 1 when something was wrong.
// Usage: storm [KILLS [SEED]]   KILLS of each kind, twice as many starts beside the stranger
#include "tests/desktop/session/DesktopSession.h"
#include "tests/desktop/session/PortStealer.h"
#include "tests/desktop/session/Waiting.h"
#include "tests/support/testchild/TestChild.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <memory>
#include <optional>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace storm {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto leftoverLimit = 8s;
constexpr auto latestKill = 3000; // ms

struct Kind {
    std::string name;
    std::string cues; // of the server
    bool guardianToo = false;
};

struct Hardship {
    std::string name;
    std::string shell; // before the application is executed
    platform::Environment environment = {};
};

const std::vector<Kind> kinds{
    {"a plain server", "health=ok"},
    {"a server deaf to SIGTERM", "ignore-term health=ok"},
    {"escaping children", "fork-away=drop fork-lost=drop fork-bare=drop health=ok"},
    {"the guardian killed in the same instant", "ignore-term health=ok", true},
};

const std::vector<Hardship> hardships{
    {"64 descriptors", "ulimit -n 64"},
    {"SIGCHLD ignored", "trap '' CHLD"},
    {"SIGTERM and SIGINT ignored", "trap '' TERM INT HUP"},
    {"files of at most 512 bytes", "ulimit -f 1"},
    {"a home that cannot be written", "true", {{"HOME", "/proc"}, {"XDG_CONFIG_HOME", "/proc/c"}}},
    {"no data folder", "true", {{"XDG_DATA_HOME", "/dev/null/data"}}},
    {"no session bus", "true", {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"}}},
    {"an unknown locale", "true", {{"LANG", "xx_XX.KOI-8"}, {"LC_ALL", "no such locale"}}},
    {"a server that is no program", "true", {{"OSTRA_SIDECAR", "/etc/passwd"}}},
};

class Storm {
  public:
    explicit Storm(unsigned seed)
        : random_(seed) {
        session_.environment["OSTRA_SIDECAR"] = testchild::path();
    }

    [[nodiscard]] bool run(int kills) {
        for (const Kind& kind : kinds) {
            killRepeatedly(kind, kills);
        }
        startBesideAStranger(2 * kills);
        for (const Hardship& hardship : hardships) {
            endure(hardship);
        }
        return faults_ == 0;
    }

  private:
    void wrong(const std::string& what) {
        ++faults_;
        fmt::print("WRONG: {}\n", what);
        std::fflush(stdout);
        session_.keepEvidence(ZORVANE_FAILURES_DIR, fmt::format("storm-{}", faults_));
    }
    [[nodiscard]] int between(int least, int most) {
        return std::uniform_int_distribution(least, most)(random_);
    }
    [[nodiscard]] std::vector<desktop::Process> left() const { return session_.processes(); }

    // How long it took, or nothing.
    std::optional<Clock::duration> untilNothingIsLeft() {
        const auto begin = Clock::now();
        if (!desktop::eventually([this] { return left().empty(); }, leftoverLimit)) {
            return std::nullopt;
        }
        return Clock::now() - begin;
    }
    void clearAway() {
        for (const desktop::Process& process : left()) {
            ::kill(process.pid, SIGKILL);
        }
        (void)desktop::eventually([this] { return left().empty(); });
    }

    void killRepeatedly(const Kind& kind, int kills);
    void startBesideAStranger(int starts);
    void endure(const Hardship& hardship);
    void quit(desktop::Program& application, const std::string& where);
    [[nodiscard]] std::optional<std::uint16_t> savedPort() const;

    std::mt19937 random_;
    desktop::DesktopSession session_;
    int faults_ = 0;
};

void Storm::killRepeatedly(const Kind& kind, int kills) {
    session_.environment["ZORVANE_TESTCHILD"] = kind.cues;
    Clock::duration slowest{0};
    int survivors = 0;
    for (int turn = 0; turn < kills; ++turn) {
        const auto application = session_.start({ZORVANE_APPLICATION}, "application");
        std::this_thread::sleep_for(std::chrono::milliseconds(between(0, latestKill)));
        std::vector<pid_t> victims{application->pid()};
        for (const desktop::Process& process : left()) {
            if (kind.guardianToo && process.command.contains("zorvane-guardian")) {
                victims.push_back(process.pid);
            }
        }
        for (const pid_t victim : victims) {
            ::kill(victim, SIGSTOP); // so that none acts on the death of another
        }
        for (const pid_t victim : victims) {
            ::kill(victim, SIGKILL);
        }
        (void)application->waitForExit(desktop::patience);
        if (const auto took = untilNothingIsLeft()) {
            slowest = std::max(slowest, *took);
        } else {
            ++survivors;
            wrong("left behind with " + kind.name + ":\n" + desktop::describe(left()));
            clearAway();
        }
    }
    fmt::print("{} kills with {}: {} left something behind, the slowest end took {:.1f} s\n", kills,
               kind.name, survivors, std::chrono::duration<double>(slowest).count());
    std::fflush(stdout);
}

std::optional<std::uint16_t> Storm::savedPort() const {
    std::ifstream file(session_.configHome() / "app.zorvane" / "defaults.ini");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    static const std::regex entry(R"(sidecarPort=(\d+))");
    std::smatch match;
    if (!std::regex_search(text, match, entry)) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(std::stoi(match[1]));
}

void Storm::quit(desktop::Program& application, const std::string& where) {
    application.signal(SIGTERM);
    const auto status = application.waitForExit(desktop::patience);
    if (status != 0) {
        wrong(fmt::format("{}: ended with {}", where, status ? std::to_string(*status) : "a hang"));
    }
    if (!untilNothingIsLeft()) {
        wrong(where + " left behind:\n" + desktop::describe(left()));
        clearAway();
    }
}

void Storm::startBesideAStranger(int starts) {
    session_.environment["ZORVANE_TESTCHILD"] = "health=ok";
    int thefts = 0;
    int misdirected = 0;
    for (int turn = 0; turn < starts; ++turn) {
        const auto port = savedPort();
        std::optional<desktop::PortStealer> stealer;
        if (port) {
            stealer.emplace(*port, 400ms);
        }
        const auto application = session_.start({ZORVANE_APPLICATION}, "application");
        std::this_thread::sleep_for(std::chrono::milliseconds(between(500, latestKill)));
        quit(*application, "beside a stranger");
        if (stealer) {
            thefts += stealer->thefts();
            if (const auto requests = stealer->misdirected(); !requests.empty()) {
                misdirected += static_cast<int>(requests.size());
                wrong(fmt::format("a stranger was asked: {}", fmt::join(requests, " | ")));
            }
        }
    }
    fmt::print("{} starts beside a stranger who took the port {} times: {} requests to him\n",
               starts, thefts, misdirected);
    std::fflush(stdout);
}

// In service, which only SIGTERM ends, or ended by itself after a sentence.
void Storm::endure(const Hardship& hardship) {
    const auto before = session_.environment;
    for (const auto& [name, value] : hardship.environment) {
        session_.environment[name] = value;
    }
    const auto application = session_.start(
        {"/bin/sh", "-c", hardship.shell + "; exec \"$0\"", ZORVANE_APPLICATION}, hardship.name);
    session_.environment = before;
    const auto said = [&] { return application->standardError(); };
    std::string outcome = "serves";
    const bool decided = desktop::eventually([&] {
        return !application->isRunning() || said().contains("ostrad spawned") ||
               said().contains("failed to launch ostrad");
    });
    if (!decided) {
        wrong(hardship.name + ": neither serves nor says why not:\n" + said());
    }
    if (!application->isRunning()) {
        const auto status = application->waitForExit(0ms);
        outcome = fmt::format("ends with {}: {}", status.value_or(-1), said());
        if (status.value_or(-1) < 0 || !said().contains("Zorvane cannot start: ")) {
            wrong(hardship.name + " " + outcome);
        }
    } else if (!said().contains("ostrad spawned")) {
        outcome = "runs without a server and says why";
    }
    if (application->isRunning()) {
        quit(*application, hardship.name);
    }
    fmt::print("{}: {}\n", hardship.name, outcome);
    std::fflush(stdout);
}

} // namespace
} // namespace storm

int main(int argc, char** argv) {
    const int kills = argc > 1 ? std::atoi(argv[1]) : 100;
    const unsigned seed = argc > 2 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10))
                                   : std::random_device{}();
    if (kills < 1) {
        fmt::print(stderr, "usage: storm [KILLS [SEED]]\n");
        return EXIT_FAILURE;
    }
    fmt::print("a storm of {} kills of each kind, seed {}\n", kills, seed);
    std::fflush(stdout);
    try {
        return storm::Storm(seed).run(kills) ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        fmt::print(stderr, "storm: {}\n", error.what());
        return EXIT_FAILURE;
    }
}
