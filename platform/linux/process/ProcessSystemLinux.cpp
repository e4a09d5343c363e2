#include "platform/posix/ProcessSystem.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>

namespace platform::posix {

int makeClosedOnExecPipe(int (&ends)[2]) noexcept {
    return ::pipe2(ends, O_CLOEXEC);
}

void enlargePipe(int descriptor) noexcept {
    // What an ordinary user may ask for unless the administrator changed it (pipe(7)).
    constexpr int oneMebibyte = 1 << 20;
    ::fcntl(descriptor, F_SETPIPE_SZ, oneMebibyte);
}

void closeDescriptors(int first, int last, int limit) noexcept {
    if (first > last) {
        return;
    }
    // The system call itself: the library's wrapper is not promised to be async-signal-safe.
    if (::syscall(SYS_close_range, static_cast<unsigned>(first), static_cast<unsigned>(last), 0U) ==
        0) {
        return;
    }
    for (int descriptor = first; descriptor <= last && descriptor < limit; ++descriptor) {
        ::close(descriptor);
    }
}

bool askForSignalWhenParentDies(int signal, pid_t parent) noexcept {
    ::prctl(PR_SET_PDEATHSIG, signal);
    return ::getppid() == parent;
}

void adoptOrphans() noexcept {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
}

} // namespace platform::posix
