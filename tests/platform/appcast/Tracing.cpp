#include "tests/platform/appcast/Tracing.h"

#include "tests/support/processes/Arguments.h"

#include <fmt/format.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <set>
#include <stdexcept>
#include <system_error>

namespace test_support {
namespace {

using process_test::pointersTo;

constexpr int callStop = SIGTRAP | 0x80; // with PTRACE_O_TRACESYSGOOD

pid_t start(std::vector<std::string> arguments, const std::vector<std::string>& variables) {
    std::vector<std::string> environment = variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        environment.emplace_back(*entry);
    }
    // A sanitizer's look at leaks is a tracer itself, and there can be one only.
    environment.insert(environment.begin(), "ASAN_OPTIONS=detect_leaks=0");
    const auto argumentPointers = pointersTo(arguments);
    const auto environmentPointers = pointersTo(environment);
    const pid_t child = ::fork();
    if (child == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::execve(argumentPointers[0], argumentPointers.data(), environmentPointers.data());
        ::_exit(127);
    }
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    return child;
}

// Nothing at the end of a call.
bool isEntry(pid_t process, TracedCall& call) {
    __ptrace_syscall_info info{};
    if (::ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info) <= 0 ||
        info.op != PTRACE_SYSCALL_INFO_ENTRY) {
        return false;
    }
    call.number = static_cast<long>(info.entry.nr);
    std::error_code none;
    call.first = std::filesystem::read_symlink(
        fmt::format("/proc/{}/fd/{}", process, info.entry.args[0]), none);
    return true;
}

class Tracer {
  public:
    Tracer(pid_t program, std::size_t killAt, Traced traced)
        : program_(program)
        , killAt_(killAt)
        , traced_(traced) {}

    Trace run() {
        int status = 0;
        if (::waitpid(program_, &status, 0) != program_ || !WIFSTOPPED(status)) {
            throw std::runtime_error("the program cannot be traced");
        }
        const long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL |
                             (traced_ == Traced::itsChild ? PTRACE_O_TRACEFORK : 0);
        ::ptrace(PTRACE_SETOPTIONS, program_, nullptr, options);
        resume(program_, 0);
        while (!alive_.empty()) {
            const pid_t process = ::waitpid(-1, &status, __WALL);
            if (process < 0) {
                throw std::system_error(errno, std::generic_category(), "waitpid");
            }
            took(process, status);
        }
        return trace_;
    }

  private:
    void took(pid_t process, int status) {
        if (!WIFSTOPPED(status)) {
            alive_.erase(process); // or one that another test has left
            if (process == program_) {
                trace_.status = status;
            }
            return;
        }
        const int signal = WSTOPSIG(status);
        if (signal == callStop) {
            atCall(process);
            resume(process, 0);
        } else if (signal == SIGURG && process == program_) {
            isMarked_ = true;
            resume(process, 0);
        } else if (signal == SIGTRAP) {
            if (status >> 16 == PTRACE_EVENT_FORK) {
                unsigned long child = 0;
                ::ptrace(PTRACE_GETEVENTMSG, process, nullptr, &child);
                alive_.insert(static_cast<pid_t>(child));
            }
            resume(process, 0);
        } else {
            resume(process, process != program_ && signal == SIGSTOP ? 0 : signal);
        }
    }

    void atCall(pid_t process) {
        TracedCall call;
        if ((process == program_) != (traced_ == Traced::theProgram) || !isEntry(process, call)) {
            return;
        }
        trace_.calls.push_back(call);
        if (trace_.calls.size() == killAt_) {
            trace_.isKilled = true;
            ::kill(process, SIGKILL);
        }
    }

    void resume(pid_t process, int signal) const {
        ::ptrace(isMarked_ ? PTRACE_SYSCALL : PTRACE_CONT, process, nullptr,
                 static_cast<long>(signal));
    }

    pid_t program_;
    std::size_t killAt_;
    Traced traced_;
    std::set<pid_t> alive_{program_};
    bool isMarked_ = false;
    Trace trace_;
};

} // namespace

Trace trace(const std::vector<std::string>& arguments, const std::vector<std::string>& variables,
            std::size_t killAt, Traced traced) {
    return Tracer(start(arguments, variables), killAt, traced).run();
}

} // namespace test_support
