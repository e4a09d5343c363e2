#include "platform/posix/Reaping.h"

#include "platform/posix/ExitWatch.h"
#include "platform/posix/Pipe.h"

#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <utility>

namespace platform::posix {
namespace {

siginfo_t waitFor(pid_t child, int options) {
    siginfo_t info = {};
    while (::waitid(P_PID, static_cast<id_t>(child), &info, options) != 0 && errno == EINTR) {
    }
    return info;
}

} // namespace

std::expected<UniqueFd, int> watchChild(pid_t child) {
    UniqueFd watch = watchForExit(child);
    if (!watch) {
        return std::unexpected(errno);
    }
    return aboveStandardDescriptors(std::move(watch));
}

ExitStatus awaitExitWithoutReaping(pid_t child) {
    const siginfo_t info = waitFor(child, WEXITED | WNOWAIT);
    return ExitStatus{.signalled = info.si_code != CLD_EXITED, .code = info.si_status};
}

void reap(pid_t child) {
    waitFor(child, WEXITED);
}

void killAndReap(pid_t child) {
    ::kill(-child, SIGKILL);
    ::kill(child, SIGKILL); // in case it never got as far as leading a group
    reap(child);
}

} // namespace platform::posix
