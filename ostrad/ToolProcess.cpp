#include "ostrad/ToolProcess.h"

#include "ostrad/Confinement.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <thread>
#include <utility>

#ifdef __linux__
#include <sys/syscall.h>
#endif

extern char** environ; // NOLINT(readability-redundant-declaration): macOS has no declaration

namespace ostrad {

namespace {

constexpr std::chrono::milliseconds kStopCheck{50};
constexpr std::chrono::milliseconds kReapCheck{5};
constexpr int kMostDescriptors = 65536;
constexpr rlim_t kLargestOutputFile = rlim_t{64} << 20U;
constexpr rlim_t kMostOpenFiles = 256;
constexpr int kCannotExecute = 127;

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

// What the tool reads: the input, whole, or nothing.
UniqueFd inputWith(std::string_view input) {
    if (input.empty()) {
        return UniqueFd(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    }
    UniqueFd reading;
    UniqueFd writing;
    if (input.size() > ToolProcess::mostInput || !makePipe(reading, writing) ||
        ::write(writing.get(), input.data(), input.size()) != static_cast<ssize_t>(input.size())) {
        return {};
    }
    return reading;
}

// From here to the end of watch() and becomeTool(): between fork and exec nothing but
// async-signal-safe calls, since other threads may have held any lock at the fork.

void closeFrom(int first, int except) {
#if defined(__linux__) && defined(SYS_close_range)
    const auto close = [](unsigned from, unsigned to) {
        return from > to || ::syscall(SYS_close_range, from, to, 0U) == 0;
    };
    if (except < first) {
        if (close(static_cast<unsigned>(first), ~0U)) {
            return;
        }
    } else if (close(static_cast<unsigned>(first), static_cast<unsigned>(except) - 1) &&
               close(static_cast<unsigned>(except) + 1, ~0U)) {
        return;
    }
#endif
    const auto limit = static_cast<int>(::sysconf(_SC_OPEN_MAX));
    for (int descriptor = first; descriptor < std::min(limit, kMostDescriptors); ++descriptor) {
        if (descriptor != except) {
            ::close(descriptor);
        }
    }
}

void handle(std::initializer_list<int> signals, void (*how)(int)) {
    for (const int signal : signals) {
        struct sigaction action = {};
        action.sa_handler = how;
        ::sigaction(signal, &action, nullptr);
    }
}

// Leads the process group of one tool and kills it when the server is gone, however that ended: the
// lifeline's other end is held by the server alone, so that its closing is the message. The watch
// is a copy of the server that executes nothing; it exists before the tool does.
[[noreturn]] void watch(int end) {
    ::setpgid(0, 0);
    handle({SIGTERM, SIGINT, SIGHUP}, SIG_IGN);
    closeFrom(0, end); // its copy of the other end among them
    char byte = 0;
    while (::read(end, &byte, 1) < 0 && errno == EINTR) {
    }
    ::kill(0, SIGKILL);
    ::_exit(1); // not reached: the group includes this process
}

void limitTo(int resource, rlim_t most) {
    rlimit limit{};
    if (::getrlimit(static_cast<decltype(RLIMIT_CORE)>(resource), &limit) == 0) {
        limit.rlim_max = std::min(limit.rlim_max, most);
        limit.rlim_cur = std::min(limit.rlim_cur, limit.rlim_max);
        static_cast<void>(::setrlimit(static_cast<decltype(RLIMIT_CORE)>(resource), &limit));
    }
}

struct Descriptors {
    int input;
    int output;
    int errors;
};

[[noreturn]] void becomeTool(char* const* arguments, const ToolBounds& bounds, pid_t group,
                             const Descriptors& files) {
    ::setpgid(0, group);
    handle({SIGTERM, SIGINT, SIGHUP, SIGPIPE, SIGXFSZ, SIGCHLD}, SIG_DFL);
    // The three may be among 0 to 2 themselves.
    const int input = ::fcntl(files.input, F_DUPFD, 3);
    const int output = ::fcntl(files.output, F_DUPFD, 3);
    const int errors = ::fcntl(files.errors, F_DUPFD, 3);
    if (::dup2(input, 0) < 0 || ::dup2(output, 1) < 0 || ::dup2(errors, 2) < 0) {
        ::_exit(kCannotExecute);
    }
    closeFrom(3, -1);
    limitTo(RLIMIT_DATA, bounds.memory);
    limitTo(RLIMIT_FSIZE, kLargestOutputFile);
    limitTo(RLIMIT_NOFILE, kMostOpenFiles);
    limitTo(RLIMIT_CORE, 0);
    static_cast<void>(::setpriority(PRIO_PROCESS, 0, bounds.niceness));
    confineThisProcess(bounds.mayStartPrograms);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::execve(arguments[0], arguments, environ);
    ::_exit(kCannotExecute);
}

// Keeps this thread's signals back, so that no handler of the server runs in a copy of it.
class SignalsHeld {
  public:
    SignalsHeld() {
        sigset_t all;
        sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;
    ~SignalsHeld() { ::pthread_sigmask(SIG_SETMASK, &before, nullptr); }

  private:
    sigset_t before{};
};

void reapSurely(pid_t process) {
    while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
}

} // namespace

std::optional<ToolProcess> ToolProcess::start(const std::vector<std::string>& arguments,
                                              const ToolBounds& bounds, std::string_view input) {
    UniqueFd watched;
    UniqueFd lifeline;
    UniqueFd reading;
    UniqueFd writing;
    const UniqueFd source = inputWith(input);
    const UniqueFd errors(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (arguments.empty() || ::access(arguments[0].c_str(), X_OK) != 0 || !source || !errors ||
        !makePipe(watched, lifeline) || !makePipe(reading, writing)) {
        return std::nullopt;
    }
    std::vector<std::string> copies = arguments;
    std::vector<char*> pointers;
    pointers.reserve(copies.size() + 1);
    for (std::string& argument : copies) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);

    const SignalsHeld held;
    const pid_t leader = ::fork();
    if (leader == 0) {
        watch(watched.get());
    }
    if (leader < 0) {
        return std::nullopt;
    }
    ::setpgid(leader, leader); // it does the same: whoever comes first
    const pid_t child = ::fork();
    if (child == 0) {
        becomeTool(pointers.data(), bounds, leader,
                   {.input = source.get(), .output = writing.get(), .errors = errors.get()});
    }
    if (child < 0) {
        ::kill(-leader, SIGKILL);
        reapSurely(leader);
        return std::nullopt;
    }
    ::setpgid(child, leader);
    return ToolProcess(child, leader, std::move(lifeline), std::move(reading));
}

ToolProcess::ToolProcess(ToolProcess&& other) noexcept
    : child(std::exchange(other.child, -1))
    , leader(std::exchange(other.leader, -1))
    , lifeline(std::move(other.lifeline))
    , output(std::move(other.output)) {}

ToolProcess::~ToolProcess() {
    finish(true, Clock::time_point::min());
}

ssize_t ToolProcess::read(std::span<char> buffer, const std::atomic<bool>& stop,
                          Clock::time_point deadline) {
    while (!stop && Clock::now() < deadline) {
        pollfd waiting{.fd = output.get(), .events = POLLIN, .revents = 0};
        const int ready = ::poll(&waiting, 1, static_cast<int>(kStopCheck.count()));
        if (ready == 0 || (ready < 0 && errno == EINTR)) {
            continue;
        }
        const ssize_t got = ::read(output.get(), buffer.data(), buffer.size());
        if (got >= 0 || errno != EINTR) {
            return got;
        }
    }
    return -1;
}

bool ToolProcess::finish(const std::atomic<bool>& stop, Clock::time_point deadline) {
    if (child < 0) {
        return false;
    }
    output.reset();
    int status = 0;
    pid_t ended = 0;
    do {
        ended = ::waitpid(child, &status, WNOHANG);
        if (ended == 0 && !stop && Clock::now() < deadline) {
            std::this_thread::sleep_for(kReapCheck);
        }
    } while ((ended == 0 && !stop && Clock::now() < deadline) || (ended < 0 && errno == EINTR));
    const bool succeeded = ended == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    ::kill(-leader, SIGKILL);
    if (ended == 0) {
        reapSurely(child);
    }
    reapSurely(leader);
    child = -1;
    leader = -1;
    lifeline.reset();
    return succeeded;
}

bool canConfineTools() {
    const SignalsHeld held;
    const pid_t child = ::fork();
    if (child == 0) {
        const bool refused =
            confineThisProcess(false) && ::socket(AF_INET, SOCK_STREAM, 0) < 0 && errno == EACCES;
        ::_exit(refused ? 0 : 1);
    }
    int status = 1;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

} // namespace ostrad
