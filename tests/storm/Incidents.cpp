// What happens to an application that serves: its bus is restarted, it or its guardian or its
// server stands still, the clock of the wall is set: afterwards it serves, and ends in order. And
// it is ended together with everything that it started.
#include "tests/desktop/session/Waiting.h"
#include "tests/storm/ClockShift.h"
#include "tests/storm/Storm.h"

#include <fmt/format.h>

#include <csignal>
#include <fstream>
#include <functional>
#include <thread>

namespace storm {
namespace {

using namespace std::chrono_literals;

// Among what the application has started, or itself.
std::optional<pid_t> processNamed(Storm& storm, const std::string& name) {
    for (const desktop::Process& process : storm.left()) {
        const std::string program = process.command.substr(0, process.command.find(' '));
        if (program.ends_with("/" + name)) {
            return process.pid;
        }
    }
    return std::nullopt;
}

void expectService(Storm& storm, const desktop::Program& application, const std::string& when) {
    if (!desktop::eventually([&] { return isServed(application.standardError()); })) {
        storm.wrong("no service " + when + ":\n" + application.standardError());
    }
}

std::size_t launchesIn(const std::string& log) {
    std::size_t count = 0;
    for (auto at = log.find("ostrad spawned"); at != std::string::npos;
         at = log.find("ostrad spawned", at + 1)) {
        ++count;
    }
    return count;
}

// The incident happens to an application that serves, which then has to serve again.
void survive(Storm& storm, const std::string& name,
             const std::function<void(desktop::Program&)>& incident) {
    const int before = storm.faults();
    const auto application = storm.start();
    expectService(storm, *application, "before " + name);
    incident(*application);
    if (application->isRunning()) {
        expectService(storm, *application, "after " + name);
        storm.quit(*application, name);
    } else {
        storm.wrong("ended by " + name + ":\n" + application->standardError());
    }
    if (storm.faults() == before) {
        storm.say(name + ": serves");
    }
}

void restartBus(Storm& storm) {
    desktop::DesktopSession& session = storm.session();
    const std::string address = session.environment.at("DBUS_SESSION_BUS_ADDRESS");
    session.environment["DBUS_SESSION_BUS_ADDRESS"] = session.busPlace();
    survive(storm, "a bus that is restarted", [&](desktop::Program&) {
        session.killBus();
        std::this_thread::sleep_for(500ms);
        session.restartBus();
        std::this_thread::sleep_for(1s);
    });
    session.environment["DBUS_SESSION_BUS_ADDRESS"] = address;
}

void standStill(Storm& storm) {
    const auto pause = storm.scale().isShort ? 2s : 30s;
    for (const std::string name : {"Zorvane", "zorvane-guardian", "zorvane-testchild"}) {
        survive(storm, fmt::format("{} that stands still for {} s", name, pause.count()),
                [&](desktop::Program& application) {
                    const auto pid = name == "Zorvane" ? application.pid()
                                                       : processNamed(storm, name).value_or(-1);
                    if (pid <= 0) {
                        storm.wrong("there is no " + name);
                        return;
                    }
                    ::kill(pid, SIGSTOP);
                    std::this_thread::sleep_for(pause);
                    ::kill(pid, SIGCONT);
                });
    }
    // One that is told to end while nothing moves: the application must not wait for ever.
    for (const std::string name : {"zorvane-guardian", "zorvane-testchild"}) {
        const auto application = storm.start();
        expectService(storm, *application, "before an end beside a " + name + " that stands still");
        ::kill(processNamed(storm, name).value_or(0), SIGSTOP);
        storm.quit(*application, "an end beside a " + name + " that stands still");
        storm.say("told to end beside a " + name + " that stands still: ends");
    }
}

// As a service manager ends a service: everybody at once. The server is old enough by then that an
// exit of its own would be followed by a new one at once.
void terminateAll(Storm& storm) {
    const auto application = storm.start();
    expectService(storm, *application, "before a SIGTERM to everything at once");
    std::this_thread::sleep_for(11s);
    for (const desktop::Process& process : storm.left()) {
        ::kill(process.pid, SIGTERM);
    }
    storm.quit(*application, "a SIGTERM to everything at once");
    const auto launches = launchesIn(application->standardError());
    if (launches == 1) {
        storm.say("a SIGTERM to everything at once: ends without another server");
    } else {
        storm.wrong(fmt::format("a SIGTERM to everything at once: {} servers were started:\n{}",
                                launches, application->standardError()));
    }
}

void setClock(Storm& storm) {
    desktop::DesktopSession& session = storm.session();
    const auto file = session.folder() / "clock";
    const auto shiftTo = [&](long long seconds) {
        std::ofstream(file.string() + ".new") << seconds;
        std::filesystem::rename(file.string() + ".new", file);
    };
    shiftTo(0);
    session.environment["LD_PRELOAD"] = ZORVANE_CLOCK_SHIFT;
    session.environment[clockShiftVariable] = file.string();
    survive(storm, "a clock that is set by years", [&](desktop::Program& application) {
        constexpr long long year = 366LL * 86400;
        for (const long long shift : {10 * year, -20 * year, 60 * year, 0LL}) {
            shiftTo(shift);
            std::this_thread::sleep_for(1s);
            // A restart within the throttle, whose times must not come from the wall.
            ::kill(processNamed(storm, "zorvane-testchild").value_or(0), SIGKILL);
            const auto launches = [&] { return launchesIn(application.standardError()); };
            const auto before = launches();
            if (!desktop::eventually([&] { return launches() > before; })) {
                storm.wrong(fmt::format("no restart with the clock {} s away", shift));
            }
            if (storm.scale().isShort) {
                break;
            }
        }
    });
    session.environment.erase("LD_PRELOAD");
    session.environment.erase(clockShiftVariable);
}

} // namespace

const std::vector<Part>& incidents() {
    static const std::vector<Part> parts{{"bus", &restartBus},
                                         {"still", &standStill},
                                         {"clock", &setClock},
                                         {"term", &terminateAll}};
    return parts;
}

} // namespace storm
