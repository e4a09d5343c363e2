// A server that prints as fast and as badly as it can before it serves. It may never be blocked for
// a second, the application may not grow by more than 8 MiB, its menu has to open within 100 ms
// meanwhile, and lines of one byte may take at most twenty times as long as with `cat`. Both read a
// pipe of the same size, in turns, and the medians count: how long a pipe takes depends on who else
// keeps the processors awake. A busy computer spoils the times; the short form only looks at the
// memory, less strictly, and the end.
#include "platform/posix/ProcessSystem.h"
#include "tests/desktop/session/TrayHost.h"
#include "tests/desktop/session/Waiting.h"
#include "tests/storm/Storm.h"
#include "tests/support/processes/ProcessTable.h"
#include "tests/support/testchild/TestChild.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <sstream>
#include <thread>
#include <vector>

namespace storm {
namespace {

using namespace std::chrono_literals;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr double growthLimitMiB = 8;
constexpr double growthLimitOfShortMiB = 12; // with every system's allocator
constexpr double menuLimitMs = 100;
constexpr double blockedLimitMs = 1000;
constexpr double catRatioLimit = 20;
constexpr int turnsWithCat = 5;
constexpr auto longest = 10min; // of one flood

struct Flood {
    std::string name;
    std::string cue; // with the number of bytes in the place of "{}"
    bool isComparedWithCat = false;
};

const std::vector<Flood> floods{
    {"lines of a megabyte", "flood-lines={}:1000000", false},
    {"lines of one byte", "flood-lines={}:1", true},
    {"empty lines", "flood-lines={}:0", false},
    {"lines of 100 bytes", "flood={}:65536", false},
};

// What the server wrote when its flood was over.
struct Account {
    double longestWriteMs = 0;
    double tookMs = 0;
};

std::optional<Account> readAccount(const std::filesystem::path& file) {
    std::istringstream text(desktop::readFile(file));
    Account account;
    if (text >> account.longestWriteMs >> account.tookMs) {
        return account;
    }
    return std::nullopt;
}

double peakResidentMiB(pid_t pid) {
    std::istringstream status(desktop::readFile(fmt::format("/proc/{}/status", pid)));
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::stod(line.substr(6)) / 1024;
        }
    }
    return 0;
}

struct Seen {
    double peakMiB = 0;
    double slowestMenuMs = 0;
    double processorMs = 0;
    std::optional<Account> account;
};

// The application with a server that follows the cues, until that has written its account.
Seen watch(Storm& storm, const std::string& cues, const std::string& where) {
    desktop::DesktopSession& session = storm.session();
    const auto file = session.folder() / "account";
    std::filesystem::remove(file);
    session.environment["ZORVANE_TESTCHILD"] = cues + " account=" + file.string() + " health=ok";
    // What the application logs is somebody else's work.
    const auto application = storm.start("exec 2>/dev/null");
    session.environment["ZORVANE_TESTCHILD"] = "health=ok";
    desktop::TrayHost tray(session);
    Seen seen;
    if (!tray.hasItem()) {
        storm.wrong(where + ": no item comes to the tray");
    } else {
        (void)desktop::eventually(
            [&] {
                const auto begin = std::chrono::steady_clock::now();
                (void)tray.openMenu();
                const Milliseconds took = std::chrono::steady_clock::now() - begin;
                seen.slowestMenuMs = std::max(seen.slowestMenuMs, took.count());
                std::this_thread::sleep_for(100ms);
                seen.account = readAccount(file);
                return seen.account.has_value();
            },
            longest);
    }
    seen.peakMiB = peakResidentMiB(application->pid());
    seen.processorMs =
        static_cast<double>(process_test::processorTime(application->pid()).own.count());
    storm.quit(*application, where);
    return seen;
}

struct Cost {
    double tookMs = 0;
    double processorMs = 0; // the reader's
};

double processorMsOfReaped() {
    struct rusage used = {};
    ::getrusage(RUSAGE_CHILDREN, &used);
    const auto ms = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_usec) / 1000;
    };
    return ms(used.ru_utime) + ms(used.ru_stime);
}

// The same flood through a pipe like the application's.
std::optional<Cost> throughCat(Storm& storm, const std::string& cue) {
    desktop::DesktopSession& session = storm.session();
    const auto file = session.folder() / "account";
    const auto pipe = session.folder() / "pipe";
    std::filesystem::remove(file);
    std::filesystem::remove(pipe);
    ::mkfifo(pipe.c_str(), 0600);
    const int held = ::open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    platform::posix::enlargePipe(held);
    const auto cat =
        session.start({"/bin/sh", "-c", "exec cat \"$0\" >/dev/null", pipe.string()}, "cat");
    const auto child =
        session.start({"/bin/sh", "-c", "exec \"$0\" \"$1\" \"$2\" >\"$3\"", testchild::path(), cue,
                       "account=" + file.string(), pipe.string()},
                      "flood");
    (void)child->waitForExit(longest);
    const double before = processorMsOfReaped();
    ::close(held); // the last that could write
    (void)cat->waitForExit(longest);
    const auto account = readAccount(file);
    if (!account) {
        storm.wrong("the flood through cat did not end");
        return std::nullopt;
    }
    return Cost{account->tookMs, processorMsOfReaped() - before};
}

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

std::string spread(const std::vector<double>& ms) {
    const auto [least, most] = std::ranges::minmax(ms);
    return fmt::format("{:.2f} s ({:.2f} to {:.2f})", medianOf(ms) / 1000, least / 1000,
                       most / 1000);
}

struct Costs {
    std::vector<double> tookMs;
    std::vector<double> processorMs;

    void add(const Cost& cost) {
        tookMs.push_back(cost.tookMs);
        processorMs.push_back(cost.processorMs);
    }
};

void compareWithCat(Storm& storm, const std::string& cue, const std::string& name,
                    double quietProcessorMs) {
    Costs ours;
    Costs cats;
    for (int turn = 0; turn < (storm.scale().isShort ? 1 : turnsWithCat); ++turn) {
        const Seen seen = watch(storm, cue, name);
        const auto cat = throughCat(storm, cue);
        if (!seen.account || !cat) {
            storm.wrong(name + ": no comparison with cat");
            return;
        }
        ours.add({seen.account->tookMs, seen.processorMs - quietProcessorMs});
        cats.add(*cat);
    }
    const double time = medianOf(ours.tookMs) / medianOf(cats.tookMs);
    const double processor = medianOf(ours.processorMs) / medianOf(cats.processorMs);
    const std::string line = fmt::format(
        "{} beside cat: {} to {}, {:.1f} times; of the processor {} to {}, {:.1f} times", name,
        spread(ours.tookMs), spread(cats.tookMs), time, spread(ours.processorMs),
        spread(cats.processorMs), processor);
    storm.say(line);
    if (!storm.scale().isShort && time > catRatioLimit) {
        storm.wrong("beyond a limit: " + line);
    }
}

void flood(Storm& storm) {
    const bool isShort = storm.scale().isShort;
    const std::uint64_t bytes = isShort ? 16U << 20U : 1U << 30U;
    const Seen quiet = watch(storm, "print=quiet", "a quiet server");
    for (const Flood& kind : floods) {
        std::string cue = kind.cue;
        cue.replace(cue.find("{}"), 2, std::to_string(bytes));
        const Seen seen = watch(storm, cue, kind.name);
        if (!seen.account) {
            storm.wrong(kind.name + ": the server does not come to an end");
            continue;
        }
        const double growth = seen.peakMiB - quiet.peakMiB;
        const std::string line = fmt::format(
            "{} MiB with {}: {:.1f} s, a write blocked for {:.0f} ms at most, the menu opened in "
            "{:.0f} ms at most, {:.1f} MiB more at the peak",
            bytes >> 20U, kind.name, seen.account->tookMs / 1000, seen.account->longestWriteMs,
            seen.slowestMenuMs, growth);
        const bool isTooSlow =
            seen.account->longestWriteMs > blockedLimitMs || seen.slowestMenuMs > menuLimitMs;
        storm.say(line);
        if (growth > (isShort ? growthLimitOfShortMiB : growthLimitMiB) ||
            (isTooSlow && !isShort)) {
            storm.wrong("beyond a limit: " + line);
        }
        if (kind.isComparedWithCat) {
            compareWithCat(storm, cue, kind.name, quiet.processorMs);
        }
    }
}

} // namespace

const std::vector<Part>& output() {
    static const std::vector<Part> parts{{"output", &flood}};
    return parts;
}

} // namespace storm
