// Whole-process measurements under Xvfb on a private bus: the application and its window program
// beside a bare window with a web view, alternately, medians. Prints one table with the aim of each
// figure. Usage: bench_process [LAUNCHES [IDLE_SECONDS]]
#include "bench/process/Surroundings.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace bench;
using Clock = std::chrono::steady_clock;

constexpr const char* ours = ZORVANE_PATH;
constexpr const char* bare = BARE_WINDOW_PATH;
constexpr const char* tessel = TESSEL_PATH;
constexpr const char* windowProgram = "zorvane-window";
constexpr auto settling = 15s; // pages loaded, caches filled, timers of the start gone
// A web engine that is ended in the middle of its start goes on for a while.
constexpr auto pauseBetweenLaunches = 500ms;

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

double since(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Two programs in turn, so that what else the machine does hits both; the first round does not
// count, it warms the disk cache.
struct Pair {
    double first = 0;
    double second = 0;
};

template <typename First, typename Second>
Pair mediansOf(int runs, First first, Second second) {
    std::vector<double> firsts;
    std::vector<double> seconds;
    for (int run = 0; run <= runs; ++run) {
        const double one = first();
        const double other = second();
        if (run > 0) {
            firsts.push_back(one);
            seconds.push_back(other);
        }
    }
    return {.first = median(firsts), .second = median(seconds)};
}

double versionMs(const char* program) {
    const auto start = Clock::now();
    Process process({program, "--version"});
    process.awaitExit();
    return since(start);
}

double launchToMappedMs(const char* program) {
    std::this_thread::sleep_for(pauseBetweenLaunches);
    Display display;
    const auto start = Clock::now();
    const Process process({program});
    (void)display.waitForWindow();
    return since(start);
}

double launchToSpawnMs() {
    const auto start = Clock::now();
    const Process process({ours}, Process::ErrorOutput::kept);
    process.awaitLine("ostrad spawned");
    return since(start);
}

struct Memory {
    double sum = 0;      // of the processes' resident sets
    double together = 0; // what they share counts once
};

Memory bareMemory() {
    Display display;
    const Process process({bare});
    (void)display.waitForWindow();
    std::this_thread::sleep_for(settling);
    return {.sum = residentMiB(process.pid()), .together = residentTogetherMiB({process.pid()})};
}

struct Usage {
    double applicationMiB = 0;
    Memory both{};
    double idleCpuMs = 0;
    double hiddenWakeups = 0; // a second
};

Usage usage(std::chrono::seconds idle) {
    Display display;
    const Process process({ours});
    const xcb_window_t shown = display.waitForWindow();
    std::this_thread::sleep_for(settling);
    const pid_t application = process.pid();
    const pid_t window = childNamed(application, windowProgram);
    Usage usage{.applicationMiB = residentMiB(application)};
    usage.both = {.sum = usage.applicationMiB + residentMiB(window),
                  .together = residentTogetherMiB({application, window})};
    const double cpu = cpuMs(application) + cpuMs(window);
    std::this_thread::sleep_for(idle);
    usage.idleCpuMs = cpuMs(application) + cpuMs(window) - cpu;
    display.close(shown);
    std::this_thread::sleep_for(settling);
    usage.hiddenWakeups = wakeupsASecond({application, window}, idle);
    return usage;
}

void row(const std::string& what, double value, const std::string& beside,
         std::optional<double> aim) {
    fmt::print("{:<58} {:>9.2f} {:<18} {}\n", what, value, beside,
               !aim            ? std::string()
               : value <= *aim ? fmt::format("aim {:g}, met", *aim)
                               : fmt::format("aim {:g}, MISSED", *aim));
    std::fflush(stdout);
}

void measure(int runs, std::chrono::seconds idle) {
    const Pair version =
        mediansOf(runs, [] { return versionMs(ours); }, [] { return versionMs(tessel); });
    row(fmt::format("Zorvane --version, ms (median of {})", runs), version.first,
        fmt::format("tessel {:.2f}", version.second), 35);
    const Pair mapped = mediansOf(
        runs, [] { return launchToMappedMs(ours); }, [] { return launchToMappedMs(bare); });
    row(fmt::format("launch to mapped window, of the bare window's (of {})", runs),
        mapped.first / mapped.second,
        fmt::format("{:.0f} : {:.0f} ms", mapped.first, mapped.second), 1.12);
    std::vector<double> spawns;
    for (int run = 0; run < runs; ++run) {
        spawns.push_back(launchToSpawnMs());
    }
    // The aim is a third of what it was before the window had a program of its own.
    row(fmt::format("launch to the server's spawn, ms (median of {})", runs), median(spawns), "",
        std::nullopt);
    const Memory alone = bareMemory();
    const Usage seen = usage(idle);
    row("application with a running server, MiB resident", seen.applicationMiB, "", 30);
    row("both programs, resident, shared pages once, of the bare's",
        seen.both.together / alone.together,
        fmt::format("{:.0f} : {:.0f} MiB", seen.both.together, alone.together), 1.15);
    row("the same by the sum of resident sets", seen.both.sum / alone.sum,
        fmt::format("{:.0f} : {:.0f} MiB", seen.both.sum, alone.sum), std::nullopt);
    const double minutes = static_cast<double>(idle.count()) / 60;
    row(fmt::format("CPU of both programs over {} idle seconds, ms", idle.count()), seen.idleCpuMs,
        "", 60 * minutes);
    row("wake-ups a second of both programs while hidden", seen.hiddenWakeups, "", 1);
}

bool isOnPath(const std::string& program) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (::access((folder + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

// Before anything is started.
void requirePrograms() {
    const std::filesystem::path bundle = std::filesystem::path(ours).parent_path();
    for (const std::filesystem::path& program :
         {std::filesystem::path(ours), bundle / "zorvane-application.so", bundle / windowProgram,
          bundle / "zorvane-guardian", bundle / "ostrad", std::filesystem::path(bare),
          std::filesystem::path(tessel)}) {
        if (::access(program.c_str(), X_OK) != 0) {
            throw std::runtime_error(program.string() + " is not built; `make bench` builds it");
        }
    }
    for (const char* const program : {"Xvfb", "dbus-daemon"}) {
        if (!isOnPath(program)) {
            throw std::runtime_error(std::string(program) + " is not installed");
        }
    }
}

void prepareEnvironment(const std::filesystem::path& home) {
    for (const char* variable : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"}) {
        std::filesystem::create_directories(home / variable);
        ::setenv(variable, (home / variable).c_str(), 1);
    }
    ::unsetenv("WAYLAND_DISPLAY");
    ::unsetenv("OSTRA_SIDECAR");
    ::setenv("GDK_BACKEND", "x11", 1);
    ::setenv("GSK_RENDERER", "cairo", 1);
    ::setenv("WEBKIT_DISABLE_DMABUF_RENDERER", "1", 1);
    ::setenv("OSTRA_DEV_NO_MOVE", "1", 1);
}

void measureOnADesktop(int runs, std::chrono::seconds idle) {
    const Server x([](int descriptor) {
        return std::vector<std::string>{"Xvfb",         "-screen",    "0",
                                        "1600x1000x24", "-nolisten",  "tcp",
                                        "-noreset",     "-displayfd", std::to_string(descriptor)};
    });
    ::setenv("DISPLAY", (":" + x.firstLine).c_str(), 1);
    const Server bus([](int descriptor) {
        return std::vector<std::string>{"dbus-daemon", "--session", "--nofork",
                                        "--print-address=" + std::to_string(descriptor)};
    });
    ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.firstLine.c_str(), 1);
    measure(runs, idle);
}

} // namespace

int main(int argc, char** argv) {
    const int runs = std::max(1, argc > 1 ? std::atoi(argv[1]) : 41);
    const std::chrono::seconds idle(std::max(1, argc > 2 ? std::atoi(argv[2]) : 60));
    std::string home = (std::filesystem::temp_directory_path() / "zorvane-bench-XXXXXX").string();
    int status = 0;
    try {
        requirePrograms();
        if (::mkdtemp(home.data()) == nullptr) {
            throw std::runtime_error("cannot make " + home);
        }
        prepareEnvironment(home);
        measureOnADesktop(runs, idle);
    } catch (const std::exception& error) {
        fmt::print(stderr, "bench_process: {}\n", error.what());
        status = 1;
    }
    std::error_code ignored;
    std::filesystem::remove_all(home, ignored);
    return status;
}
