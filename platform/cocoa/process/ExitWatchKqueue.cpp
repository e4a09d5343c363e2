#include "platform/posix/ExitWatch.h"

#include <fcntl.h>
#include <sys/event.h>
#include <sys/wait.h>

#include <cerrno>

namespace platform::posix {
namespace {

bool apply(int queue, uintptr_t identifier, int16_t filter, uint16_t flags,
           uint32_t filterFlags) noexcept {
    const struct kevent change = {.ident = identifier,
                                  .filter = filter,
                                  .flags = flags,
                                  .fflags = filterFlags,
                                  .data = 0,
                                  .udata = nullptr};
    return ::kevent(queue, &change, 1, nullptr, 0, nullptr) == 0;
}

// An event nobody takes off the queue: the descriptor is readable from now on.
bool makeReadable(int queue) noexcept {
    return apply(queue, 0, EVFILT_USER, EV_ADD, NOTE_FFNOP) &&
           apply(queue, 0, EVFILT_USER, 0, NOTE_TRIGGER);
}

// True of a child of this process that runs, is exiting, or waits to be reaped.
bool isUnreapedChild(pid_t pid) noexcept {
    siginfo_t info = {};
    return ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

} // namespace

UniqueFd watchForExit(pid_t pid) noexcept {
    UniqueFd queue(::kqueue());
    if (!queue) {
        return queue;
    }
    // Children that are forked do not inherit a kqueue; this is for those that are only executed.
    ::fcntl(queue.get(), F_SETFD, FD_CLOEXEC);
    if (apply(queue.get(), static_cast<uintptr_t>(pid), EVFILT_PROC, EV_ADD, NOTE_EXIT)) {
        return queue;
    }
    int reason = errno;
    // The filter cannot be attached to a process that is on its way out or was not reaped yet.
    if (reason == ESRCH && isUnreapedChild(pid)) {
        if (makeReadable(queue.get())) {
            return queue;
        }
        reason = errno;
    }
    queue.reset();
    errno = reason;
    return queue;
}

} // namespace platform::posix
