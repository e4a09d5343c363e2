// Starts under limits and in places that make things hard. Each ends in service, or goes on without
// a server and says why, or ends with a sentence: never by a signal, never in silence.
#include "tests/desktop/session/Waiting.h"
#include "tests/storm/Storm.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

namespace storm {
namespace {

using namespace std::chrono_literals;

struct Hardship {
    std::string name;
    std::string shell; // before the application is executed
    platform::Environment environment = {};
};

// A file system of its own in the place of a folder, seen by the application only.
std::string mounted(const std::string& variable, const std::string& options,
                    const std::string& afterwards) {
    return fmt::format("mkdir -p \"${0}\" && exec unshare {1} sh -c 'mount -t tmpfs -o {2} none "
                       "\"${0}\" && {{ {3}; }} && exec \"$0\"' \"$0\"",
                       variable, ::geteuid() == 0 ? "-m" : "-rm", options, afterwards);
}

bool canMount(Storm& storm) {
    const auto program = storm.session().start(
        {"unshare", ::geteuid() == 0 ? "-m" : "-rm", "mount", "-t", "tmpfs", "none", "/mnt"},
        "mount");
    return program->waitForExit(desktop::patience) == 0;
}

// Root has no limit of processes, so it is somebody else who starts with none.
constexpr uid_t anotherUser = 54321;

std::string asAnotherUser(const std::string& command) {
    return fmt::format("exec setpriv --reuid {0} --regid {0} --clear-groups {1} \"$0\"",
                       anotherUser, command);
}

std::vector<Hardship> limits() {
    return {
        {"64 descriptors", "ulimit -n 64"},
        {"20 descriptors", "ulimit -n 20"},
        // Not every shell can ignore that one.
        {"SIGCHLD ignored", "exec env --ignore-signal=CHLD \"$0\""},
        {"SIGTERM and SIGINT ignored", "trap '' TERM INT"},
        {"files of at most 512 bytes", "ulimit -f 1"},
        {"no standard streams", "exec <&- >&-"},
    };
}

std::vector<Hardship> places(const std::filesystem::path& folder) {
    const auto in = [&](const std::string& name) { return (folder / name).string(); };
    const std::string longName(120, 'l');
    return {
        {"a home that cannot be written",
         "true",
         {{"HOME", "/proc"}, {"XDG_CONFIG_HOME", "/proc/c"}}},
        {"no data folder", "true", {{"XDG_DATA_HOME", "/dev/null/data"}}},
        {"no home at all", "unset HOME XDG_DATA_HOME XDG_CONFIG_HOME XDG_CACHE_HOME"},
        {"a data folder with an odd name",
         "true",
         {{"XDG_DATA_HOME", in("a 'b\"\\$c\n\xC3\xA9;*")}}},
        {"a data folder that is no text", "true", {{"XDG_DATA_HOME", in("\xFF\xFE\x80")}}},
        {"a very long data folder", "true", {{"XDG_DATA_HOME", in(longName + "/" + longName)}}},
        {"a data folder that is a relative path", "true", {{"XDG_DATA_HOME", "data"}}},
        {"a working folder that is gone", "mkdir gone && cd gone && rmdir ../gone"},
        {"no session bus", "true", {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"}}},
        {"a session bus that is no address", "true", {{"DBUS_SESSION_BUS_ADDRESS", "%%%;;="}}},
        {"an unknown locale", "true", {{"LANG", "xx_XX.KOI-8"}, {"LC_ALL", "no such locale"}}},
        {"a locale that is no text", "true", {{"LC_ALL", "\xFF/../../etc"}}},
        {"a Turkish locale", "true", {{"LANG", "tr_TR.UTF-8"}, {"LC_ALL", "tr_TR.UTF-8"}}},
        {"a server that is no program", "true", {{"OSTRA_SIDECAR", "/etc/passwd"}}},
        {"a server that is a folder", "true", {{"OSTRA_SIDECAR", "/"}}},
    };
}

std::vector<Hardship> fileSystems() {
    const std::string fill = "dd if=/dev/zero of=\"${}/fill\" bs=4k 2>/dev/null || true";
    const auto filled = [&](const std::string& variable) {
        std::string text = fill;
        return mounted(variable, "size=64k,mode=700", text.replace(text.find("{}"), 2, variable));
    };
    return {
        {"a full disk for the data", filled("XDG_DATA_HOME")},
        {"a full disk for the settings", filled("XDG_CONFIG_HOME")},
        {"a full disk for the cache", filled("XDG_CACHE_HOME")},
        {"a disk with room for very little", mounted("XDG_DATA_HOME", "size=12k,mode=700", "true")},
        {"a data folder that is read-only",
         mounted("XDG_DATA_HOME", "size=64k,mode=700", "mount -o remount,ro \"$XDG_DATA_HOME\"")},
        {"settings that are read-only", mounted("XDG_CONFIG_HOME", "size=64k,mode=700",
                                                "mount -o remount,ro \"$XDG_CONFIG_HOME\"")},
    };
}

void endure(Storm& storm, const Hardship& hardship) {
    desktop::DesktopSession& session = storm.session();
    const auto before = session.environment;
    for (const auto& [name, value] : hardship.environment) {
        session.environment[name] = value;
    }
    const auto application = storm.start(hardship.shell);
    session.environment = before;
    const auto said = [&] { return application->standardError(); };
    const bool decided = desktop::eventually([&] {
        return !application->isRunning() || isServed(said()) ||
               said().contains("failed to launch ostrad");
    });
    std::string outcome = "serves";
    if (!decided) {
        storm.wrong(hardship.name + ": neither serves nor says why not:\n" + said());
    }
    if (!application->isRunning()) {
        const auto status = application->waitForExit(0ms).value_or(-1);
        outcome = fmt::format("ends with {}: {}", status, said());
        if (status < 0 || !said().contains("Zorvane cannot start: ")) {
            storm.wrong(hardship.name + " " + outcome);
        }
        storm.untilNothingIsLeft(hardship.name);
    } else if (!isServed(said())) {
        outcome = "runs without a server and says why";
    }
    if (application->isRunning()) {
        storm.quit(*application, hardship.name);
    }
    while (outcome.ends_with('\n')) {
        outcome.pop_back();
    }
    storm.say(hardship.name + ": " + outcome);
}

void endureAll(Storm& storm, const std::vector<Hardship>& hardships) {
    for (const Hardship& hardship : hardships) {
        endure(storm, hardship);
    }
}

// A home of the other user's, who has no part in the session's bus.
void moveToAnotherUser(desktop::DesktopSession& session) {
    const auto home = session.folder() / "other";
    std::filesystem::create_directories(home);
    if (::chmod(session.folder().c_str(), 0711) != 0 ||
        ::chown(home.c_str(), anotherUser, anotherUser) != 0) {
        throw std::runtime_error("another user gets no home");
    }
    for (const char* variable :
         {"HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR"}) {
        session.environment[variable] = (home / variable).string();
    }
    // Without an address libraries start a bus of their own, which stays as long as the display.
    session.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent/bus";
}

// One more each time, so that each thread and process in turn is the one too many.
void endureFewProcesses(Storm& storm) {
    const bool isRoot = ::geteuid() == 0;
    if (isRoot) {
        const auto reaches = storm.start(asAnotherUser("test -x"));
        if (reaches->waitForExit(desktop::patience) != 0) {
            storm.say("few processes: not tried, since no other user reaches the application");
            return;
        }
    }
    const auto before = storm.session().environment;
    if (isRoot) {
        moveToAnotherUser(storm.session());
    }
    const std::vector<int> few =
        storm.scale().isShort
            ? std::vector{1, 20}
            : std::vector{1, 4, 8, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 22, 24, 28, 32, 40, 60};
    for (const int most : few) {
        const auto limit = fmt::format("prlimit --nproc={}", most);
        endure(storm, {fmt::format("{} processes and threads", most),
                       isRoot ? asAnotherUser(limit) : "exec " + limit + " \"$0\""});
    }
    storm.session().environment = before;
}

void endureFileSystems(Storm& storm) {
    if (!canMount(storm)) {
        storm.say("full and read-only disks: not tried, since nothing may be mounted here");
        return;
    }
    endureAll(storm, fileSystems());
}

} // namespace

const std::vector<Part>& hardships() {
    static const std::vector<Part> parts{
        {"limits", [](Storm& storm) { endureAll(storm, limits()); }},
        {"processes", &endureFewProcesses},
        {"places", [](Storm& storm) { endureAll(storm, places(storm.session().folder())); }},
        {"disks", &endureFileSystems},
    };
    return parts;
}

} // namespace storm
