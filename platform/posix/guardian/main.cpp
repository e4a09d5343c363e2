// zorvane-guardian: the parent of one media server, between it and the application, so that nothing
// of the server outlives the application, however that one ended. It starts the server in a process
// group of its own and tells the application how it ended. Where the system can (Linux), whatever
// the server's descendants leave behind becomes the guardian's child, the ones that left the group
// too. Once the server has exited, for whatever reason, everything that is left is killed.
//
// When the application is gone the server's group is sent SIGTERM, unless the server was sent it
// before, gets the time said by --grace-ms and is then killed; meanwhile the guardian reads the
// server's output in the application's place, so that the server neither waits nor is killed by a
// line it writes. When the guardian itself is killed, the system kills the server (Linux).
//
// Deaf to signals. Nothing but the C library: it has to be small, for it is there as long as the
// server is. What is said over standard input: Protocol.h.
#include "platform/posix/ProcessSystem.h"
#include "platform/posix/ProgramStart.h"
#include "platform/posix/guardian/Protocol.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace {

using platform::posix::GuardianCommand;
using platform::posix::GuardianOrder;
using platform::posix::GuardianReport;
using Kind = GuardianReport::Kind;

constexpr int usageError = 64; // EX_USAGE of sysexits.h
constexpr long longestGrace = 24L * 3600 * 1000;
constexpr long lookAgainAfter = 5; // at descendants that were killed
// A process inside a system call that cannot be interrupted dies when it returns. It has its
// SIGKILL and cannot fork any more; nobody waits longer for it.
constexpr long patienceWithTheDead = 3000;
constexpr int never = -1;

constexpr int application = STDIN_FILENO;
constexpr int outputWriteEnd = STDOUT_FILENO;
constexpr int outputReadEnd = STDERR_FILENO;

int wakeUpPipe[2] = {-1, -1};

long now() {
    timespec time = {};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000L + time.tv_nsec / 1'000'000;
}

// The grace in milliseconds, or -1.
long graceFrom(int count, char** arguments) {
    if (count != 3 || std::strcmp(arguments[1], "--grace-ms") != 0) {
        return -1;
    }
    char* end = nullptr;
    errno = 0;
    const long grace = std::strtol(arguments[2], &end, 10);
    const bool whole = end != arguments[2] && *end == '\0' && errno == 0;
    if (!whole || grace < 0) {
        return -1;
    }
    return grace < longestGrace ? grace : longestGrace;
}

void wakeUp(int /*signal*/) {
    const int error = errno;
    [[maybe_unused]] const ssize_t written = ::write(wakeUpPipe[1], "", 1);
    errno = error;
}

// Two signals are heard: a child ended, and the parent ended, which wakes a guardian that was
// stopped, too. False when there is no descriptor.
bool listen() {
    platform::posix::resetSignals(true);
    if (platform::posix::makeClosedOnExecPipe(wakeUpPipe) != 0) {
        return false;
    }
    for (const int end : wakeUpPipe) {
        ::fcntl(end, F_SETFL, ::fcntl(end, F_GETFL) | O_NONBLOCK);
    }
    struct sigaction action = {};
    action.sa_handler = wakeUp;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGCHLD, &action, nullptr);
    ::sigaction(SIGCONT, &action, nullptr);
    return true;
}

// False at the end of the stream.
bool readAll(void* target, std::size_t size) {
    char* next = static_cast<char*>(target);
    while (size > 0) {
        const ssize_t count = ::read(application, next, size);
        if (count <= 0 && !(count < 0 && errno == EINTR)) {
            return false;
        }
        if (count > 0) {
            next += count;
            size -= static_cast<std::size_t>(count);
        }
    }
    return true;
}

void tell(Kind kind, int value) {
    const GuardianReport report{kind, value};
    [[maybe_unused]] const ssize_t sent = ::send(application, &report, sizeof report, 0);
}

// The program that is to be started, in memory of its own.
struct Program {
    char** arguments = nullptr;
    char** environment = nullptr;
};

char** pointersTo(std::uint32_t count, char*& text, const char* end) {
    char** pointers = static_cast<char**>(std::calloc(count + std::size_t{1}, sizeof(char*)));
    for (std::uint32_t index = 0; pointers != nullptr && index < count && text < end; ++index) {
        pointers[index] = text;
        text += std::strlen(text) + 1;
    }
    return pointers;
}

bool readOrder(Program& program) {
    GuardianOrder order;
    if (!readAll(&order, sizeof order) || order.arguments == 0) {
        return false;
    }
    char* text = static_cast<char*>(std::calloc(order.bytes + 1, 1));
    if (text == nullptr || !readAll(text, order.bytes)) {
        return false;
    }
    const char* const end = text + order.bytes;
    program.arguments = pointersTo(order.arguments, text, end);
    program.environment = pointersTo(order.variables, text, end);
    return program.arguments != nullptr && program.environment != nullptr &&
           program.arguments[0] != nullptr;
}

// The server's process between fork and exec.
struct Held {
    pid_t pid = -1;
    int gate = -1;
    int verdict = -1;
};

// Starts the process and waits for the application to watch it before it is let go.
Held hold(const Program& program) {
    int gate[2];
    int verdict[2];
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    if (nothing < 0 || platform::posix::makeClosedOnExecPipe(gate) != 0 ||
        platform::posix::makeClosedOnExecPipe(verdict) != 0) {
        return {};
    }
    const pid_t pid = platform::posix::forkAndExec({
        .path = program.arguments[0],
        .arguments = program.arguments,
        .environment = program.environment,
        .standard = {nothing, outputWriteEnd, outputWriteEnd},
        .verdict = verdict[1],
        .gate = gate[0],
        .gateWriteEnd = gate[1],
        .descriptorLimit = platform::posix::descriptorLimit(),
        .parent = ::getpid(),
        .group = 0,
        .ignoreEverySignal = false,
        .signalWhenParentDies = SIGKILL,
    });
    const int error = errno;
    ::dup2(nothing, outputWriteEnd); // the output ends when the server and its descendants end it
    ::close(nothing);
    ::close(gate[0]);
    ::close(verdict[1]);
    errno = error;
    return {pid, gate[1], verdict[0]};
}

// The errno value of a program that could not be executed, or 0.
int letGo(const Held& held) {
    [[maybe_unused]] const ssize_t opened = ::write(held.gate, "", 1);
    ::close(held.gate);
    int error = 0;
    ssize_t count = 0;
    do {
        count = ::read(held.verdict, &error, sizeof error);
    } while (count < 0 && errno == EINTR);
    ::close(held.verdict);
    return count == static_cast<ssize_t>(sizeof error) ? error : 0;
}

// The server from its first instruction to the end of its last descendant.
class Watch {
  public:
    Watch(pid_t serverProcess, pid_t parent, long graceTime)
        : server(serverProcess)
        , applicationProcess(parent)
        , grace(graceTime) {}

    void untilNothingIsLeft() {
        for (;;) {
            const bool childrenLeft = reapTheDead();
            if (server < 0) {
                if (!childrenLeft || now() >= giveUpAt) {
                    tell(Kind::exited, status);
                    return;
                }
                platform::posix::killChildren();
            } else if (killAt != never && now() >= killAt) {
                killGroup();
            }
            waitForNews();
        }
    }

  private:
    // True while there are children that have not ended.
    bool reapTheDead() {
        for (;;) {
            siginfo_t info = {};
            if (::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0) {
                if (errno == EINTR) {
                    continue;
                }
                return false;
            }
            if (info.si_pid == 0) {
                return true;
            }
            if (info.si_pid == server) {
                killGroup(); // while the dead server still holds the group's number
                ::waitpid(server, &status, 0);
                server = -1;
                giveUpAt = now() + patienceWithTheDead;
            } else {
                ::waitpid(info.si_pid, nullptr, 0);
            }
        }
    }

    void waitForNews() {
        pollfd news[] = {
            {.fd = wakeUpPipe[0], .events = POLLIN, .revents = 0},
            {.fd = applicationIsGone ? -1 : application, .events = POLLIN, .revents = 0},
            {.fd = drains ? outputReadEnd : -1, .events = POLLIN, .revents = 0},
        };
        if (::poll(news, 3, timeToWait()) <= 0) {
            return;
        }
        if (news[0].revents != 0) {
            char bytes[64];
            while (::read(wakeUpPipe[0], bytes, sizeof bytes) > 0) {
            }
        }
        if (news[1].revents != 0) {
            obey();
        }
        if (!applicationIsGone && ::getppid() != applicationProcess) {
            becomeAlone();
        }
        if (news[2].revents != 0) {
            drain();
        }
    }

    [[nodiscard]] int timeToWait() const {
        if (server < 0) {
            return lookAgainAfter;
        }
        if (killAt == never) {
            return never;
        }
        const long left = killAt - now();
        return left <= 0 ? lookAgainAfter : static_cast<int>(left < INT_MAX ? left : INT_MAX);
    }

    void obey() {
        GuardianCommand command{};
        const ssize_t count = ::read(application, &command, 1);
        if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN)) {
            becomeAlone();
        } else if (count > 0 && server > 0) {
            if (command == GuardianCommand::terminate) {
                terminate(server);
            } else if (command == GuardianCommand::kill) {
                killGroup();
            }
        }
    }

    void becomeAlone() {
        applicationIsGone = true;
        drains = true;
        if (server > 0) {
            terminate(-server);
            killAt = terminatedAt + grace;
        }
    }

    // `whom`: the server, or its group as a negative number. A stopped process is woken up for it.
    void terminate(pid_t whom) {
        if (terminatedAt == never) {
            terminatedAt = now();
            ::kill(whom, SIGTERM);
        }
        ::kill(-server, SIGCONT);
    }

    void killGroup() const { ::kill(-server, SIGKILL); }

    void drain() {
        static char bytes[65536];
        const ssize_t count = ::read(outputReadEnd, bytes, sizeof bytes);
        drains = count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
    }

    pid_t server; // -1: ended and reaped
    const pid_t applicationProcess;
    const long grace;
    int status = 0;
    bool applicationIsGone = false;
    bool drains = false;
    long terminatedAt = never;
    long killAt = never;
    long giveUpAt = never;
};

} // namespace

int main(int count, char** arguments) {
    const long grace = graceFrom(count, arguments);
    if (grace < 0) {
        return usageError;
    }
    const pid_t parent = ::getppid();
    Program program;
    if (!listen() || !platform::posix::askForSignalWhenParentDies(SIGCONT, parent) ||
        !readOrder(program)) {
        return EXIT_FAILURE;
    }
    platform::posix::adoptOrphans();
    const Held held = hold(program);
    if (held.pid < 0) {
        tell(Kind::failed, errno);
        return EXIT_FAILURE;
    }
    tell(Kind::held, held.pid);
    GuardianCommand command{};
    const bool wanted = readAll(&command, 1) && command == GuardianCommand::run;
    const int error = wanted ? letGo(held) : ECANCELED;
    if (error != 0) {
        ::kill(-held.pid, SIGKILL);
        ::waitpid(held.pid, nullptr, 0);
        tell(Kind::failed, error);
        return EXIT_FAILURE;
    }
    tell(Kind::running, 0);
    Watch(held.pid, parent, grace).untilNothingIsLeft();
    return EXIT_SUCCESS;
}
