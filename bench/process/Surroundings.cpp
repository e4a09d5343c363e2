#include "bench/process/Surroundings.h"

#include "platform/posix/UniqueFd.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace bench {
namespace {

using Event = std::unique_ptr<xcb_generic_event_t, decltype(&std::free)>;

std::string readLine(int descriptor) {
    std::string line;
    char byte = 0;
    while (::read(descriptor, &byte, 1) == 1 && byte != '\n') {
        line += byte;
    }
    return line;
}

void makePipe(int (&ends)[2]) {
    if (::pipe(ends) != 0) {
        throw std::runtime_error("cannot make a pipe");
    }
}

// Nothing when whatever it is about has ended.
std::optional<long> statusNumber(const std::filesystem::path& file, const std::string& name) {
    std::ifstream status(file);
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":")) {
            return std::stol(line.substr(name.size() + 1));
        }
    }
    return std::nullopt;
}

} // namespace

Process::Process(const std::vector<std::string>& command, ErrorOutput errorOutput) {
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    int ends[2] = {-1, -1};
    if (errorOutput == ErrorOutput::kept) {
        makePipe(ends);
        ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    }
    pid_ = ::fork();
    if (pid_ == 0) {
        const int nothing = ::open("/dev/null", O_WRONLY);
        ::dup2(nothing, STDOUT_FILENO);
        ::dup2(ends[1] < 0 ? nothing : ends[1], STDERR_FILENO);
        ::execvp(arguments[0], arguments.data());
        ::_exit(127);
    }
    if (ends[1] >= 0) {
        ::close(ends[1]);
        errorOutput_ = ends[0];
    }
}

Process::~Process() {
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
    }
    if (errorOutput_ >= 0) {
        ::close(errorOutput_);
    }
}

void Process::awaitLine(const std::string& text) const {
    for (std::string line = readLine(errorOutput_); line.find(text) == std::string::npos;
         line = readLine(errorOutput_)) {
        if (line.empty()) {
            throw std::runtime_error("a measured process has ended and never said \"" + text + '"');
        }
    }
}

void Process::awaitExit() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("a measured process has failed");
    }
}

Server::Server(const std::function<std::vector<std::string>(int)>& command) {
    int ends[2];
    makePipe(ends);
    process = std::make_unique<Process>(command(ends[1]));
    ::close(ends[1]);
    firstLine = readLine(ends[0]);
    ::close(ends[0]);
    if (firstLine.empty()) {
        throw std::runtime_error(command(0).front() + " does not start");
    }
}

Display::Display()
    : connection_(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(connection_) != 0) {
        throw std::runtime_error("cannot connect to the display");
    }
    const auto root = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    const std::uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_, root, XCB_CW_EVENT_MASK, &events);
    xcb_flush(connection_);
}

Display::~Display() {
    xcb_disconnect(connection_);
}

template <typename Condition>
void Display::waitFor(Condition condition) {
    while (const Event event{xcb_wait_for_event(connection_), &std::free}) {
        if (condition(*event)) {
            return;
        }
    }
    throw std::runtime_error("the display is gone");
}

xcb_window_t Display::waitForWindow() {
    xcb_window_t window = 0;
    waitFor([&](const xcb_generic_event_t& event) {
        if ((event.response_type & 0x7F) == XCB_MAP_NOTIFY) {
            window = reinterpret_cast<const xcb_map_notify_event_t&>(event).window;
            return isLarge(window);
        }
        return false;
    });
    return window;
}

bool Display::isLarge(xcb_window_t window) {
    const std::unique_ptr<xcb_get_geometry_reply_t, decltype(&std::free)> geometry(
        xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr),
        &std::free);
    return geometry && geometry->width >= 600 && geometry->height >= 400;
}

xcb_atom_t Display::atom(const std::string& name) {
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(
            connection_,
            xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.data()),
            nullptr),
        &std::free);
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

void Display::close(xcb_window_t window) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom("WM_PROTOCOLS");
    message.data.data32[0] = atom("WM_DELETE_WINDOW");
    xcb_send_event(connection_, 0, window, 0, reinterpret_cast<const char*>(&message));
    xcb_flush(connection_);
    waitFor([&](const xcb_generic_event_t& event) {
        return (event.response_type & 0x7F) == XCB_UNMAP_NOTIFY &&
               reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window == window;
    });
}

double residentMiB(pid_t pid) {
    const auto kibibytes = statusNumber(fmt::format("/proc/{}/status", pid), "VmRSS");
    if (!kibibytes) {
        throw std::runtime_error("a measured process has ended");
    }
    return static_cast<double>(*kibibytes) / 1024;
}

double residentTogetherMiB(const std::vector<pid_t>& processes) {
    constexpr std::uint64_t present = std::uint64_t{1} << 63;
    constexpr std::uint64_t shared = std::uint64_t{1} << 61; // of a file, or of shared memory
    const auto pageSize = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    std::size_t own = 0;
    std::set<std::pair<std::string, std::uint64_t>> together; // the file, and where in it
    for (const pid_t process : processes) {
        std::ifstream maps(fmt::format("/proc/{}/maps", process));
        const platform::posix::UniqueFd pages(
            ::open(fmt::format("/proc/{}/pagemap", process).c_str(), O_RDONLY | O_CLOEXEC));
        for (std::string line; std::getline(maps, line);) {
            std::istringstream words(line);
            std::uint64_t begin = 0;
            std::uint64_t end = 0;
            std::uint64_t offset = 0;
            char dash = 0;
            std::string rights;
            std::string device;
            std::string inode;
            words >> std::hex >> begin >> dash >> end >> rights >> offset >> device >> inode;
            std::vector<std::uint64_t> entries((end - begin) / pageSize);
            const ssize_t bytes =
                ::pread(pages.get(), entries.data(), entries.size() * sizeof entries.front(),
                        static_cast<off_t>(begin / pageSize * sizeof entries.front()));
            entries.resize(static_cast<std::size_t>(std::max<ssize_t>(bytes, 0)) /
                           sizeof entries.front());
            std::uint64_t page = offset / pageSize;
            for (const std::uint64_t entry : entries) {
                const std::uint64_t place = page++;
                if ((entry & present) == 0) {
                    continue;
                }
                if ((entry & shared) != 0) {
                    together.emplace(device + ' ' + inode, place);
                } else {
                    ++own;
                }
            }
        }
    }
    if (own == 0) {
        throw std::runtime_error("a measured process has ended");
    }
    return static_cast<double>((own + together.size()) * pageSize) / 1024 / 1024;
}

double cpuMs(pid_t pid) {
    clockid_t clock = 0;
    timespec spent = {};
    if (::clock_getcpuclockid(pid, &clock) != 0 || ::clock_gettime(clock, &spent) != 0) {
        throw std::runtime_error("a measured process has ended");
    }
    return static_cast<double>(spent.tv_sec) * 1e3 + static_cast<double>(spent.tv_nsec) / 1e6;
}

double wakeupsASecond(const std::vector<pid_t>& processes, std::chrono::seconds time) {
    long sum = 0;
    std::map<std::string, long> before;
    for (auto second = std::chrono::seconds(0); second <= time; ++second) {
        std::map<std::string, long> now;
        for (const pid_t process : processes) {
            for (const auto& thread :
                 std::filesystem::directory_iterator(fmt::format("/proc/{}/task", process))) {
                if (const auto count =
                        statusNumber(thread.path() / "status", "voluntary_ctxt_switches")) {
                    now[thread.path()] = *count;
                }
            }
        }
        if (second.count() > 0) {
            for (const auto& [thread, count] : now) {
                const auto known = before.find(thread);
                sum += known == before.end() ? count : count - known->second;
            }
        }
        before = std::move(now);
        if (second < time) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
        }
    }
    return static_cast<double>(sum) / static_cast<double>(time.count());
}

pid_t childNamed(pid_t parent, const std::string& name) {
    std::ifstream children(fmt::format("/proc/{0}/task/{0}/children", parent));
    for (pid_t child = 0; children >> child;) {
        std::error_code ignored;
        const auto program =
            std::filesystem::read_symlink(fmt::format("/proc/{}/exe", child), ignored);
        if (program.filename() == name) {
            return child;
        }
    }
    throw std::runtime_error(name + " does not run");
}

} // namespace bench
