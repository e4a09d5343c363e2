#include "ostrad/ToolRunner.h"

#include "ostrad/UniqueFd.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <thread>

extern char** environ; // NOLINT(readability-redundant-declaration): macOS has no declaration

namespace ostrad {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kStopCheck{50};
constexpr std::chrono::milliseconds kReapCheck{5};
constexpr int kMostDescriptors = 65536;

class SpawnSetup {
  public:
    SpawnSetup(int output, pid_t group) {
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&files, output, 1);
        posix_spawn_file_actions_addopen(&files, 2, "/dev/null", O_WRONLY, 0);
        posix_spawnattr_init(&attributes);
        sigset_t none;
        sigemptyset(&none);
        sigset_t defaults;
        sigemptyset(&defaults);
        for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGPIPE}) {
            sigaddset(&defaults, signal);
        }
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setpgroup(&attributes, group);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK |
                                                  POSIX_SPAWN_SETSIGDEF);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;
    ~SpawnSetup() {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&files);
    }

    posix_spawn_file_actions_t files{};
    posix_spawnattr_t attributes{};
};

bool makePipe(UniqueFd& reading, UniqueFd& writing) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        return false;
    }
    reading.reset(ends[0]);
    writing.reset(ends[1]);
    for (const int end : ends) {
        static_cast<void>(::fcntl(end, F_SETFD, FD_CLOEXEC));
    }
    return true;
}

// Leads the process group of one tool and kills it when this program is gone, however that ended:
// the lifeline's other end is held here alone, so that its closing is the message. The watch is a
// copy of this process that executes nothing; it exists before the tool does.
class GroupWatch {
  public:
    GroupWatch() = default;
    GroupWatch(const GroupWatch&) = delete;
    GroupWatch& operator=(const GroupWatch&) = delete;
    ~GroupWatch() {
        if (leader > 0) {
            killGroup();
            while (::waitpid(leader, nullptr, 0) < 0 && errno == EINTR) {
            }
        }
    }

    bool begin() {
        UniqueFd readEnd;
        if (!makePipe(readEnd, lifeline)) {
            return false;
        }
        const pid_t child = ::fork();
        if (child == 0) {
            watch(readEnd.get());
        }
        if (child > 0) {
            ::setpgid(child, child); // the child does the same: whoever comes first
            leader = child;
        }
        return child > 0;
    }
    [[nodiscard]] pid_t group() const { return leader; }
    void killGroup() const { ::kill(-leader, SIGKILL); }

  private:
    // Nothing but async-signal-safe calls: other threads may have held any lock at the fork.
    [[noreturn]] static void watch(int end) {
        ::setpgid(0, 0);
        for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
            struct sigaction action = {};
            action.sa_handler = SIG_IGN;
            ::sigaction(signal, &action, nullptr);
        }
        // Its copy of the other end among them.
        const auto limit = static_cast<int>(::sysconf(_SC_OPEN_MAX));
        for (int descriptor = 0; descriptor < std::min(limit, kMostDescriptors); ++descriptor) {
            if (descriptor != end) {
                ::close(descriptor);
            }
        }
        char byte = 0;
        while (::read(end, &byte, 1) < 0 && errno == EINTR) {
        }
        ::kill(0, SIGKILL);
        ::_exit(1); // not reached: the group includes this process
    }

    UniqueFd lifeline;
    pid_t leader = -1;
};

std::optional<pid_t> start(const std::vector<std::string>& arguments, int output, pid_t group) {
    std::vector<std::string> copies = arguments;
    std::vector<char*> pointers;
    pointers.reserve(copies.size() + 1);
    for (std::string& argument : copies) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    const SpawnSetup setup(output, group);
    pid_t child = 0;
    if (::posix_spawn(&child, pointers[0], &setup.files, &setup.attributes, pointers.data(),
                      environ) != 0) {
        return std::nullopt;
    }
    return child;
}

// Whether the stream came to its end in time and within bounds.
bool readAll(int source, std::string& output, std::size_t most, Clock::time_point deadline,
             const std::atomic<bool>& stop) {
    std::array<char, 16 * 1024> chunk{};
    while (!stop && Clock::now() < deadline) {
        pollfd waiting{.fd = source, .events = POLLIN, .revents = 0};
        const int ready = ::poll(&waiting, 1, static_cast<int>(kStopCheck.count()));
        if (ready == 0 || (ready < 0 && errno == EINTR)) {
            continue;
        }
        const ssize_t got = ::read(source, chunk.data(), chunk.size());
        if (got == 0) {
            return true;
        }
        if (got < 0 && errno != EINTR) {
            return false;
        }
        if (got > 0) {
            output.append(chunk.data(), static_cast<std::size_t>(got));
        }
        if (output.size() > most) {
            return false;
        }
    }
    return false;
}

// Whether the child ended by itself with status 0; a child still running at the deadline is killed.
bool reap(pid_t child, const GroupWatch& group, Clock::time_point deadline,
          const std::atomic<bool>& stop) {
    int status = 0;
    for (;;) {
        const pid_t ended = ::waitpid(child, &status, WNOHANG);
        if (ended == child) {
            return WIFEXITED(status) && WEXITSTATUS(status) == 0;
        }
        if (ended < 0 && errno != EINTR) {
            return false;
        }
        if (stop || Clock::now() >= deadline) {
            break;
        }
        std::this_thread::sleep_for(kReapCheck);
    }
    group.killGroup();
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return false;
}

} // namespace

std::optional<std::string> runTool(const std::vector<std::string>& arguments,
                                   const ToolLimits& limits, const std::atomic<bool>& stop) {
    UniqueFd reading;
    UniqueFd writing;
    GroupWatch group;
    if (arguments.empty() || !makePipe(reading, writing) || !group.begin()) {
        return std::nullopt;
    }
    const auto deadline = Clock::now() + limits.time;
    const auto child = start(arguments, writing.get(), group.group());
    writing.reset();
    if (!child) {
        return std::nullopt;
    }
    std::string output;
    const bool complete = readAll(reading.get(), output, limits.maxOutput, deadline, stop);
    reading.reset();
    const bool succeeded =
        reap(*child, group, complete ? deadline : Clock::time_point::min(), stop);
    return complete && succeeded ? std::optional(std::move(output)) : std::nullopt;
}

} // namespace ostrad
