#include "platform/posix/Socket.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <cerrno>

namespace platform::posix {
namespace {

#ifdef SOCK_CLOEXEC
constexpr int closedOnExec = SOCK_CLOEXEC;
#else
constexpr int closedOnExec = 0;
#endif

#ifdef MSG_NOSIGNAL
constexpr int withoutSignal = MSG_NOSIGNAL;
#else
constexpr int withoutSignal = 0;
#endif

void prepare([[maybe_unused]] int fd) {
#ifndef SOCK_CLOEXEC
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
#endif
#ifdef SO_NOSIGPIPE
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
}

} // namespace

int makeClosedOnExecSocket(int domain, int type, int protocol) {
    const int fd = ::socket(domain, type | closedOnExec, protocol);
    if (fd >= 0) {
        prepare(fd);
    }
    return fd;
}

int makeStreamSocketPair(int (&ends)[2]) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | closedOnExec, 0, ends) != 0) {
        return -1;
    }
    prepare(ends[0]);
    prepare(ends[1]);
    return 0;
}

bool sendAll(int socket, const void* bytes, std::size_t size) {
    const char* next = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t count = ::send(socket, next, size, withoutSignal);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        if (count > 0) {
            next += count;
            size -= static_cast<std::size_t>(count);
        }
    }
    return true;
}

int acceptClosedOnExec(int listening) {
#ifdef SOCK_CLOEXEC
    const int fd = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
#else
    const int fd = ::accept(listening, nullptr, nullptr);
#endif
    if (fd >= 0) {
        prepare(fd);
    }
    return fd;
}

ssize_t sendQuietly(int socket, const void* bytes, std::size_t size, int flags) {
    return ::send(socket, bytes, size, flags | withoutSignal);
}

} // namespace platform::posix
