#include "platform/posix/Socket.h"

#include <fcntl.h>
#include <sys/socket.h>

namespace platform::posix {

int makeClosedOnExecSocket(int domain, int type, int protocol) {
#ifdef SOCK_CLOEXEC
    return ::socket(domain, type | SOCK_CLOEXEC, protocol);
#else
    const int fd = ::socket(domain, type, protocol);
    if (fd >= 0) {
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    return fd;
#endif
}

} // namespace platform::posix
