// The application killed at random moments of its first three seconds, with servers of several
// kinds; within eight seconds nothing may be left.
#include "tests/desktop/session/Waiting.h"
#include "tests/storm/Storm.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <thread>

namespace storm {
namespace {

constexpr int latestKill = 3000; // ms

struct Kind {
    std::string name;
    std::string cues; // of the server
    bool guardianToo = false;
};

void kill(Storm& storm, const Kind& kind) {
    desktop::DesktopSession& session = storm.session();
    session.environment["ZORVANE_TESTCHILD"] = kind.cues;
    std::chrono::duration<double> slowest{0};
    const int before = storm.faults();
    for (int turn = 0; turn < storm.scale().kills; ++turn) {
        const auto application = storm.start();
        std::this_thread::sleep_for(std::chrono::milliseconds(storm.between(0, latestKill)));
        std::vector<pid_t> victims{application->pid()};
        for (const desktop::Process& process : storm.left()) {
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
        if (const auto took = storm.untilNothingIsLeft("a kill with " + kind.name)) {
            slowest = std::max(slowest, *took);
        }
    }
    session.environment["ZORVANE_TESTCHILD"] = "health=ok";
    storm.say(
        fmt::format("{} kills with {}: {} left something behind, the slowest end took {:.1f} s",
                    storm.scale().kills, kind.name, storm.faults() - before, slowest.count()));
}

} // namespace

const std::vector<Part>& kills() {
    static const std::vector<Part> parts{
        {"kill-plain", [](Storm& storm) { kill(storm, {"a plain server", "health=ok"}); }},
        {"kill-deaf",
         [](Storm& storm) { kill(storm, {"a server deaf to SIGTERM", "ignore-term health=ok"}); }},
        {"kill-escaping",
         [](Storm& storm) {
             kill(storm,
                  {"escaping children", "fork-away=drop fork-lost=drop fork-bare=drop health=ok"});
         }},
        {"kill-both",
         [](Storm& storm) {
             kill(storm,
                  {"the guardian killed in the same instant", "ignore-term health=ok", true});
         }},
    };
    return parts;
}

} // namespace storm
