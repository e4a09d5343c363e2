#include "platform/posix/ProgramStart.h"

#include "platform/posix/ProcessSystem.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>

namespace platform::posix {
namespace {

constexpr int cannotExecute = 127; // what shells exit with

[[noreturn]] void giveUp(const ProgramStart& start, int error) noexcept {
    // Best effort: the exit code remains when even this cannot be told.
    [[maybe_unused]] const ssize_t written = ::write(start.verdict, &error, sizeof error);
    ::_exit(cannotExecute);
}

bool arrangeDescriptors(const ProgramStart& start) noexcept {
    for (int target = 0; target < 3; ++target) {
        if (::dup2(start.standard[target], target) < 0) {
            return false;
        }
    }
    // A gate can only close if this copy of its other end does.
    if (start.gateWriteEnd >= 0) {
        ::close(start.gateWriteEnd);
    }
    const bool gateIsLower = start.gate >= 0 && start.gate < start.verdict;
    const int low = gateIsLower ? start.gate : start.verdict;
    const int high = start.gate > start.verdict ? start.gate : start.verdict;
    closeDescriptors(3, low - 1, start.descriptorLimit);
    closeDescriptors(low + 1, high - 1, start.descriptorLimit);
    closeDescriptors(high + 1, INT_MAX, start.descriptorLimit);
    return true;
}

void waitAtGate(int gate) noexcept {
    char byte = 0;
    ssize_t count = 0;
    do {
        count = ::read(gate, &byte, 1);
    } while (count < 0 && errno == EINTR);
    if (count != 1) {
        ::_exit(cannotExecute);
    }
}

[[noreturn]] void becomeProgram(const ProgramStart& start) noexcept {
    const bool stands = start.ownSession ? ::setsid() >= 0 : ::setpgid(0, start.group) == 0;
    if (!stands || !arrangeDescriptors(start)) {
        giveUp(start, errno);
    }
    resetSignals(start.ignoreEverySignal);
    if (start.signalWhenParentDies != 0 &&
        !askForSignalWhenParentDies(start.signalWhenParentDies, start.parent)) {
        ::_exit(cannotExecute);
    }
    if (start.gate >= 0) {
        waitAtGate(start.gate);
    }
    ::execve(start.path, start.arguments, start.environment);
    giveUp(start, errno);
}

} // namespace

int descriptorLimit() noexcept {
    struct rlimit limit = {};
    constexpr rlim_t most = 1 << 20;
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur > most) {
        return static_cast<int>(most);
    }
    return static_cast<int>(limit.rlim_cur);
}

// Handlers go before the mask does, so that none of this program's ever runs in the child.
void resetSignals(bool ignore) noexcept {
    struct sigaction action = {};
    action.sa_handler = ignore ? SIG_IGN : SIG_DFL;
    sigemptyset(&action.sa_mask);
    for (int number = 1; number < NSIG; ++number) {
        ::sigaction(number, &action, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

pid_t forkAndExec(const ProgramStart& start) noexcept {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t pid = ::fork();
    if (pid == 0) {
        becomeProgram(start);
    }
    const int error = errno;
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (pid > 0 && !start.ownSession) {
        // The child does the same: whoever comes first, the group exists for both. The leader of a
        // group cannot begin a session.
        ::setpgid(pid, start.group == 0 ? pid : start.group);
    }
    errno = error;
    return pid;
}

} // namespace platform::posix
