// Whole-process measurements under Xvfb on a private bus: our application beside a bare window
// with a web view, alternately, medians of several runs. Prints one table.
#include <fmt/format.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

struct Usage {
    double mappedMs = 0;
    double residentMiB = 0;
    double idleCpuMs = 0; // over a minute
};

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

// A child of this program; told to end, and reaped, at the latest by the destructor.
class Process {
  public:
    Process(const std::vector<std::string>& command, bool quiet) {
        std::vector<char*> arguments;
        for (const std::string& word : command) {
            arguments.push_back(const_cast<char*>(word.c_str()));
        }
        arguments.push_back(nullptr);
        pid_ = ::fork();
        if (pid_ == 0) {
            if (quiet) {
                std::freopen("/dev/null", "w", stdout);
                std::freopen("/dev/null", "w", stderr);
            }
            ::execvp(arguments[0], arguments.data());
            ::_exit(127);
        }
    }
    ~Process() {
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    [[nodiscard]] pid_t pid() const { return pid_; }

  private:
    pid_t pid_ = -1;
};

std::string readLine(int descriptor) {
    std::string line;
    char byte = 0;
    while (::read(descriptor, &byte, 1) == 1 && byte != '\n') {
        line += byte;
    }
    return line;
}

// A program that says one line on a descriptor once it is ready.
struct Server {
    Server(const std::function<std::vector<std::string>(int)>& command) {
        int ends[2];
        if (::pipe(ends) != 0) {
            throw std::runtime_error("pipe failed");
        }
        process = std::make_unique<Process>(command(ends[1]), true);
        ::close(ends[1]);
        firstLine = readLine(ends[0]);
        ::close(ends[0]);
    }
    std::unique_ptr<Process> process;
    std::string firstLine;
};

// Sees windows of the display being mapped.
class Display {
  public:
    Display()
        : connection_(xcb_connect(nullptr, nullptr)) {
        if (xcb_connection_has_error(connection_) != 0) {
            throw std::runtime_error("cannot connect to the display");
        }
        const auto root = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
        const std::uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(connection_, root, XCB_CW_EVENT_MASK, &events);
        xcb_flush(connection_);
    }
    ~Display() { xcb_disconnect(connection_); }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    // Waits until a window of at least half the expected size is mapped.
    void waitForWindow() {
        while (auto* event = xcb_wait_for_event(connection_)) {
            const std::unique_ptr<xcb_generic_event_t, decltype(&std::free)> owned(event,
                                                                                   &std::free);
            if ((event->response_type & 0x7F) == XCB_MAP_NOTIFY && isLarge(event)) {
                return;
            }
        }
        throw std::runtime_error("the display is gone");
    }

  private:
    bool isLarge(const xcb_generic_event_t* event) {
        const auto* mapped = reinterpret_cast<const xcb_map_notify_event_t*>(event);
        const std::unique_ptr<xcb_get_geometry_reply_t, decltype(&std::free)> geometry(
            xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, mapped->window),
                                   nullptr),
            &std::free);
        return geometry && geometry->width >= 600 && geometry->height >= 400;
    }
    xcb_connection_t* connection_;
};

double residentMiB(pid_t pid) {
    std::ifstream status(fmt::format("/proc/{}/status", pid));
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            return std::stod(line.substr(6)) / 1024;
        }
    }
    throw std::runtime_error("the process is gone");
}

// Of all threads, those that have ended included.
double cpuMs(pid_t pid) {
    clockid_t clock = 0;
    timespec spent = {};
    if (::clock_getcpuclockid(pid, &clock) != 0 || ::clock_gettime(clock, &spent) != 0) {
        throw std::runtime_error("the process is gone");
    }
    return static_cast<double>(spent.tv_sec) * 1e3 + static_cast<double>(spent.tv_nsec) / 1e6;
}

double launchToMapped(const std::string& program) {
    Display display;
    const auto start = Clock::now();
    const Process process({program}, true);
    display.waitForWindow();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

Usage settledUsage(const std::string& program, std::chrono::seconds idle) {
    Display display;
    const Process process({program}, true);
    display.waitForWindow();
    std::this_thread::sleep_for(15s); // pages loaded, caches filled, timers of the start gone
    Usage usage;
    usage.residentMiB = residentMiB(process.pid());
    const double before = cpuMs(process.pid());
    std::this_thread::sleep_for(idle);
    usage.idleCpuMs = cpuMs(process.pid()) - before;
    return usage;
}

void measure(int runs, std::chrono::seconds idle) {
    const std::string ours = ZORVANE_PATH;
    const std::string bare = BARE_WINDOW_PATH;
    std::vector<double> oursMs;
    std::vector<double> bareMs;
    launchToMapped(bare); // the disk cache is warm for both
    launchToMapped(ours);
    for (int run = 0; run < runs; ++run) {
        bareMs.push_back(launchToMapped(bare));
        oursMs.push_back(launchToMapped(ours));
    }
    const Usage bareUsage = settledUsage(bare, 0s);
    const Usage oursUsage = settledUsage(ours, idle);
    fmt::print("{:<44} {:>10} {:>10} {:>8}\n", "", "Zorvane", "bare", "ratio");
    fmt::print("{:<44} {:>10.1f} {:>10.1f} {:>8.3f}\n",
               fmt::format("launch to mapped window, ms (median of {})", runs), median(oursMs),
               median(bareMs), median(oursMs) / median(bareMs));
    fmt::print("{:<44} {:>10.1f} {:>10.1f} {:>8.3f}\n", "resident memory after 15 s, MiB",
               oursUsage.residentMiB, bareUsage.residentMiB,
               oursUsage.residentMiB / bareUsage.residentMiB);
    fmt::print("{:<44} {:>10.1f}\n", fmt::format("CPU over {} idle seconds, ms", idle.count()),
               oursUsage.idleCpuMs);
}

} // namespace

int main(int argc, char** argv) {
    const int runs = argc > 1 ? std::atoi(argv[1]) : 11;
    const std::chrono::seconds idle(argc > 2 ? std::atoi(argv[2]) : 60);
    char name[] = "/tmp/zorvane-bench-XXXXXX";
    if (::mkdtemp(name) == nullptr) {
        return 1;
    }
    const std::filesystem::path home = name;
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
    try {
        const Server x([](int fd) {
            return std::vector<std::string>{"Xvfb",         "-screen",    "0",
                                            "1600x1000x24", "-nolisten",  "tcp",
                                            "-noreset",     "-displayfd", std::to_string(fd)};
        });
        ::setenv("DISPLAY", (":" + x.firstLine).c_str(), 1);
        const Server bus([](int fd) {
            return std::vector<std::string>{"dbus-daemon", "--session", "--nofork",
                                            "--print-address=" + std::to_string(fd)};
        });
        ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.firstLine.c_str(), 1);
        measure(runs, idle);
    } catch (const std::exception& error) {
        fmt::print(stderr, "bench: {}\n", error.what());
        std::filesystem::remove_all(home);
        return 1;
    }
    std::filesystem::remove_all(home);
    return 0;
}
