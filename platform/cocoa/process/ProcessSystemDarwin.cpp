#include "platform/cocoa/process/CloseListed.h"
#include "platform/posix/ProcessSystem.h"

#include <fcntl.h>
#include <libproc.h>
#include <sys/proc_info.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>

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

// By the kernel's own list, since a limit may be a million and more.
void closeDescriptors(int first, int last, int limit) noexcept {
    const auto list = [](int* open, std::size_t room) noexcept {
        std::array<proc_fdinfo, descriptorsAtOnce> found{};
        const std::size_t wanted = std::min(room, found.size()) * sizeof(proc_fdinfo);
        const int bytes =
            ::proc_pidinfo(::getpid(), PROC_PIDLISTFDS, 0, found.data(), static_cast<int>(wanted));
        const std::size_t count =
            bytes <= 0 ? 0 : static_cast<std::size_t>(bytes) / sizeof(proc_fdinfo);
        for (std::size_t index = 0; index < count; ++index) {
            open[index] = found[index].proc_fd;
        }
        return count;
    };
    if (!closeListed(first, last, list, ::close)) {
        for (int descriptor = first; descriptor <= last && descriptor < limit; ++descriptor) {
            ::close(descriptor);
        }
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
