// A server that prints as fast and as badly as it can before it serves. It may never be blocked for
// a second, the application may not grow by more than 8 MiB, its menu has to open within 100 ms
// meanwhile, and lines of one byte may take at most twenty times what `cat` takes for them. A busy
// computer spoils the times; the short form only looks at the memory, less strictly, and the end.
#include "tests/desktop/session/TrayHost.h"
#include "tests/desktop/session/Waiting.h"
#include "tests/storm/Storm.h"
#include "tests/support/testchild/TestChild.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <sstream>
#include <thread>

namespace storm {
namespace {

using namespace std::chrono_literals;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr double growthLimitMiB = 8;
constexpr double growthLimitOfShortMiB = 12; // with every system's allocator
constexpr double menuLimitMs = 100;
constexpr double blockedLimitMs = 1000;
constexpr double catRatioLimit = 20;
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
    storm.quit(*application, where);
    return seen;
}

double throughCatMs(Storm& storm, const std::string& cue) {
    const auto file = storm.session().folder() / "account";
    std::filesystem::remove(file);
    const auto program =
        storm.session().start({"/bin/sh", "-c", "\"$0\" \"$1\" \"$2\" | cat >/dev/null",
                               testchild::path(), cue, "account=" + file.string()},
                              "cat");
    (void)program->waitForExit(longest);
    const auto account = readAccount(file);
    if (!account) {
        storm.wrong("the flood through cat did not end");
        return 1;
    }
    return account->tookMs;
}

void flood(Storm& storm) {
    const bool isShort = storm.scale().isShort;
    const std::uint64_t bytes = isShort ? 16U << 20U : 1U << 30U;
    const double quiet = watch(storm, "print=quiet", "a quiet server").peakMiB;
    for (const Flood& kind : floods) {
        std::string cue = kind.cue;
        cue.replace(cue.find("{}"), 2, std::to_string(bytes));
        const Seen seen = watch(storm, cue, kind.name);
        if (!seen.account) {
            storm.wrong(kind.name + ": the server does not come to an end");
            continue;
        }
        const double growth = seen.peakMiB - quiet;
        std::string line = fmt::format(
            "{} MiB with {}: {:.1f} s, a write blocked for {:.0f} ms at most, the menu opened in "
            "{:.0f} ms at most, {:.1f} MiB more at the peak",
            bytes >> 20U, kind.name, seen.account->tookMs / 1000, seen.account->longestWriteMs,
            seen.slowestMenuMs, growth);
        bool isTooSlow =
            seen.account->longestWriteMs > blockedLimitMs || seen.slowestMenuMs > menuLimitMs;
        if (kind.isComparedWithCat) {
            const double ratio = seen.account->tookMs / throughCatMs(storm, cue);
            line += fmt::format(", {:.1f} times cat", ratio);
            isTooSlow = isTooSlow || ratio > catRatioLimit;
        }
        storm.say(line);
        if (growth > (isShort ? growthLimitOfShortMiB : growthLimitMiB) ||
            (isTooSlow && !isShort)) {
            storm.wrong("beyond a limit: " + line);
        }
    }
}

} // namespace

const std::vector<Part>& output() {
    static const std::vector<Part> parts{{"output", &flood}};
    return parts;
}

} // namespace storm
