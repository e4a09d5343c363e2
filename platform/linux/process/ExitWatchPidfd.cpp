#include "platform/posix/ExitWatch.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace platform::posix {

UniqueFd watchForExit(pid_t pid) noexcept {
    // The C library's header for pidfd_open is not usable from C++ in every release.
    return UniqueFd(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0U)));
}

} // namespace platform::posix
