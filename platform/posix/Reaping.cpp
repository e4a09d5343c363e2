#include "platform/posix/Reaping.h"

#include "platform/posix/ExitWatch.h"
#include "platform/posix/Pipe.h"

#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <utility>

namespace platform::posix {

ExitStatus describedStatus(int status) {
    return WIFEXITED(status) ? ExitStatus{.signalled = false, .code = WEXITSTATUS(status)}
                             : ExitStatus{.signalled = true, .code = WTERMSIG(status)};
}

std::expected<UniqueFd, int> watchChild(pid_t child) {
    UniqueFd watch = watchForExit(child);
    if (!watch) {
        return std::unexpected(errno);
    }
    return aboveStandardDescriptors(std::move(watch));
}

void awaitExitWithoutReaping(pid_t child) {
    siginfo_t info = {};
    while (::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
}

// waitpid, because not every system's waitid says which signal ended a child.
ExitStatus reap(pid_t child) {
    int status = 0;
    pid_t reaped = 0;
    do {
        reaped = ::waitpid(child, &status, 0);
    } while (reaped < 0 && errno == EINTR);
    // Somebody else's doing: how it ended is not known, but not as a success.
    return reaped == child ? describedStatus(status) : ExitStatus{.signalled = true, .code = 0};
}

void killAndReap(pid_t child) {
    ::kill(-child, SIGKILL);
    ::kill(child, SIGKILL); // in case it never got as far as leading a group
    reap(child);
}

} // namespace platform::posix
