#include "tests/support/testchild/Cues.h"

#include "tests/support/testchild/CueSources.h"
#include "tests/support/testchild/Output.h"
#include "tests/support/testchild/Reports.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

namespace testchild {
namespace {

[[noreturn]] void refuse(std::string_view cue) {
    write(STDERR_FILENO, "zorvane-testchild: unknown cue " + std::string(cue) + '\n');
    ::_exit(64);
}

struct Cue {
    std::string_view whole;
    std::string_view name;
    std::string_view value;

    explicit Cue(std::string_view text)
        : whole(text)
        , name(text.substr(0, text.find('=')))
        , value(name.size() == text.size() ? std::string_view() : text.substr(name.size() + 1)) {}

    [[nodiscard]] std::uint64_t number(std::string_view digits) const {
        std::uint64_t result = 0;
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), result);
        if (error != std::errc() || end != digits.data() + digits.size()) {
            refuse(whole);
        }
        return result;
    }
    // The two halves of "FIRST:SECOND".
    [[nodiscard]] std::string_view first() const { return value.substr(0, value.find(':')); }
    [[nodiscard]] std::string_view second() const {
        return first().size() == value.size() ? std::string_view()
                                              : value.substr(first().size() + 1);
    }
};

void waitFor(std::uint64_t milliseconds) {
    ::poll(nullptr, 0, static_cast<int>(milliseconds));
}

[[noreturn]] void hang() {
    for (;;) {
        ::pause();
    }
}

void dieBySignal(int number) {
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    ::sigaction(number, &action, nullptr);
    ::kill(::getpid(), number);
}

void ignoreTerm() {
    struct sigaction action = {};
    action.sa_handler = SIG_IGN;
    ::sigaction(SIGTERM, &action, nullptr);
}

int termDelay = 0;
int termCode = 0;

void exitOnTerm(std::uint64_t milliseconds, std::uint64_t code) {
    termDelay = static_cast<int>(milliseconds);
    termCode = static_cast<int>(code);
    struct sigaction action = {};
    action.sa_handler = [](int) {
        ::poll(nullptr, 0, termDelay);
        ::_exit(termCode);
    };
    ::sigaction(SIGTERM, &action, nullptr);
}

int farewellFile = -1;

void sayFarewell(std::string_view file) {
    farewellFile = ::open(std::string(file).c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    struct sigaction action = {};
    action.sa_handler = [](int) {
        write(farewellFile, "t");
        write(STDOUT_FILENO, "asked to stop\n");
        ::alarm(1); // the first one counts from here, a second one would count anew
    };
    ::sigaction(SIGTERM, &action, nullptr);
    action.sa_handler = [](int) {
        flood(STDOUT_FILENO, 3'000'000, 65536);
        write(farewellFile, "e");
        ::_exit(0);
    };
    ::sigaction(SIGALRM, &action, nullptr);
}

// The calling process without its environment, hanging.
[[noreturn]] void hangBare() {
    const char* const arguments[] = {"/bin/sleep", "1000", nullptr};
    const char* const nothing[] = {nullptr};
    ::execve(arguments[0], const_cast<char* const*>(arguments), const_cast<char* const*>(nothing));
    ::_exit(71);
}

// Its number is printed when the grandchild is where it belongs.
struct Grandchild {
    bool away = false;   // in a session of its own
    bool orphan = false; // its parent ends
    bool bare = false;   // without the environment
};

void forkGrandchild(const Grandchild& kind, std::string_view output) {
    int ready[2];
    if (::pipe(ready) != 0) {
        ::_exit(71);
    }
    pid_t pid = ::fork();
    if (pid == 0) {
        if (kind.away) {
            ::setsid();
        }
        if (kind.orphan && ::fork() != 0) {
            ::_exit(0);
        }
        if (output == "drop") {
            ::close(STDOUT_FILENO);
            ::close(STDERR_FILENO);
        }
        pid = ::getpid();
        [[maybe_unused]] const ssize_t told = ::write(ready[1], &pid, sizeof pid);
        ::close(ready[0]);
        ::close(ready[1]);
        if (output == "flood") {
            flood(STDOUT_FILENO, 0, 65536);
        }
        if (kind.bare) {
            hangBare();
        }
        hang();
    }
    ::close(ready[1]);
    while (::read(ready[0], &pid, sizeof pid) < 0) {
    }
    ::close(ready[0]);
    printLine("grandchild " + std::to_string(pid));
}

bool performOutput(const Cue& cue) {
    if (cue.name == "print") {
        printLine(cue.value);
    } else if (cue.name == "error") {
        write(STDERR_FILENO, std::string(cue.value) + '\n');
    } else if (cue.name == "ready") {
        printLine("ready");
    } else if (cue.name == "print-hex") {
        writeHex(cue.value);
    } else if (cue.name == "trickle") {
        trickle(cue.value);
    } else if (cue.name == "flood" || cue.name == "flood-error") {
        const auto bytes = cue.first() == "endless" ? 0 : cue.number(cue.first());
        flood(cue.name == "flood" ? STDOUT_FILENO : STDERR_FILENO, bytes, cue.number(cue.second()));
    } else if (cue.name == "flood-lines") {
        floodLines(STDOUT_FILENO, cue.number(cue.first()), cue.number(cue.second()));
    } else if (cue.name == "account") {
        writeAccount(cue.value);
    } else {
        return false;
    }
    return true;
}

bool performEnd(const Cue& cue) {
    if (cue.name == "exit") {
        ::_exit(static_cast<int>(cue.number(cue.value)));
    } else if (cue.name == "signal") {
        dieBySignal(static_cast<int>(cue.number(cue.value)));
    } else if (cue.name == "hang") {
        hang();
    } else if (cue.name == "exit-after") {
        std::thread([delay = cue.number(cue.first()), code = cue.number(cue.second())] {
            waitFor(delay);
            ::_exit(static_cast<int>(code));
        }).detach();
    } else if (cue.name == "signal-after") {
        std::thread([delay = cue.number(cue.first()), number = cue.number(cue.second())] {
            waitFor(delay);
            dieBySignal(static_cast<int>(number));
        }).detach();
    } else {
        return false;
    }
    return true;
}

bool performOther(const Cue& cue) {
    if (cue.name == "ignore-term") {
        ignoreTerm();
    } else if (cue.name == "on-term") {
        exitOnTerm(cue.number(cue.first()), cue.number(cue.second()));
    } else if (cue.name == "sleep") {
        waitFor(cue.number(cue.value));
    } else if (cue.name == "fork") {
        forkGrandchild({}, cue.value);
    } else if (cue.name == "fork-away") {
        forkGrandchild({.away = true}, cue.value);
    } else if (cue.name == "fork-lost") {
        forkGrandchild({.away = true, .orphan = true}, cue.value);
    } else if (cue.name == "fork-bare") {
        forkGrandchild({.away = true, .orphan = true, .bare = true}, cue.value);
    } else if (cue.name == "farewell") {
        sayFarewell(cue.value);
    } else {
        return false;
    }
    return true;
}

bool planHealth(const Cue& cue, HealthPlan& plan) {
    if (cue.name == "unhealthy-first") {
        plan.unhealthyFirst = static_cast<int>(cue.number(cue.value));
        return true;
    }
    if (cue.name != "health") {
        return false;
    }
    const auto mode = healthModeNamed(cue.value);
    plan.mode = mode.value_or(plan.mode);
    return mode.has_value();
}

// The cue that counts for this kind of run, or an empty one.
std::string_view forThisRun(std::string_view cue, bool wantsVersion) {
    constexpr std::string_view nested = "version:";
    constexpr std::string_view text = "version=";
    if (cue.starts_with(nested)) {
        return wantsVersion ? cue.substr(nested.size()) : std::string_view();
    }
    return cue.starts_with(text) == wantsVersion ? cue : std::string_view();
}

std::string defaultCues(const std::string& executable) {
    std::ifstream file(executable + cueFileSuffix);
    if (file) {
        return {std::istreambuf_iterator<char>(file), {}};
    }
    const char* variable = std::getenv(cueVariable);
    return variable == nullptr ? std::string() : std::string(variable);
}

} // namespace

CommandLine readCommandLine(std::span<char*> arguments) {
    CommandLine result;
    for (std::size_t index = 1; index < arguments.size(); ++index) {
        const std::string_view argument = arguments[index];
        const bool hasValue = index + 1 < arguments.size();
        if (argument == "-version") {
            result.wantsVersion = true;
        } else if (argument == "-addr" && hasValue) {
            result.address = arguments[++index];
        } else if (argument.starts_with('-')) {
            ++index;
        } else {
            result.cues.emplace_back(argument);
        }
    }
    if (result.cues.empty()) {
        std::istringstream words(defaultCues(arguments.front()));
        result.cues.assign(std::istream_iterator<std::string>(words), {});
    }
    return result;
}

HealthPlan perform(const CommandLine& commandLine, std::span<char*> arguments) {
    HealthPlan plan;
    for (const auto& text : commandLine.cues) {
        const Cue cue(forThisRun(text, commandLine.wantsVersion));
        if (cue.whole.empty()) {
            continue;
        }
        if (cue.name == "version") {
            printLine(cue.value);
        } else if (!performOutput(cue) && !performEnd(cue) && !performOther(cue) &&
                   !planHealth(cue, plan) && !report(cue.name, arguments)) {
            refuse(cue.whole);
        }
    }
    return plan;
}

} // namespace testchild
