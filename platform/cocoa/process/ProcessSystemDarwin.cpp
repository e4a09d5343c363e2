#include "platform/posix/ProcessSystem.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace platform::posix {

int makeClosedOnExecPipe(int (&ends)[2]) noexcept {
    if (::pipe(ends) != 0) {
        return -1;
    }
    for (const int end : ends) {
        if (::fcntl(end, F_SETFD, FD_CLOEXEC) != 0) {
            const int reason = errno;
            ::close(ends[0]);
            ::close(ends[1]);
            errno = reason;
            return -1;
        }
    }
    return 0;
}

// The kernel lets a pipe grow to 64 KiB by itself; there is no call for more.
void enlargePipe(int /*descriptor*/) noexcept {}

void closeDescriptors(int first, int last, int limit) noexcept {
    for (int descriptor = first; descriptor <= last && descriptor < limit; ++descriptor) {
        ::close(descriptor);
    }
}

// There is no such request here; the guardian notices by its standard input.
bool askForSignalWhenParentDies(int /*signal*/, pid_t /*parent*/) noexcept {
    return true;
}

// Orphans go to launchd: here a server's group is what is ended, not what left it.
void adoptOrphans() noexcept {}

void killChildren() noexcept {}

void killAbandonedTree(const AbandonedTree& tree) noexcept {
    ::kill(-tree.leader, SIGKILL);
}

} // namespace platform::posix
