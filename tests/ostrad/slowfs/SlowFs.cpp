// Preloaded into a program under test: takes the place of the C library's file-system calls.
#include "tests/ostrad/slowfs/SlowFs.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

std::string_view variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
}

bool isAsleep(std::string_view calls) {
    static const std::string_view slow = variable(slowfs::callsVariable);
    static const std::string_view gate = variable(slowfs::gateVariable);
    return calls == slow && ::syscall(SYS_access, gate.data(), F_OK) == 0;
}

void waitForTheDisk(std::string_view calls) {
    while (isAsleep(calls)) {
        ::poll(nullptr, 0, 5);
    }
}

bool isBelowRoot(std::string_view path) {
    static const std::string_view root = variable(slowfs::rootVariable);
    return !root.empty() && path.starts_with(root);
}

bool isOurs(int descriptor) {
    std::array<char, 32> link{};
    std::array<char, PATH_MAX> path{};
    std::snprintf(link.data(), link.size(), "/proc/self/fd/%d", descriptor);
    const auto size = ::syscall(SYS_readlink, link.data(), path.data(), path.size());
    return size > 0 && isBelowRoot({path.data(), static_cast<std::size_t>(size)});
}

int openAt(int folder, const char* path, int flags, mode_t mode) {
    if (path != nullptr && (*path == '/' ? isBelowRoot(path) : isOurs(folder))) {
        waitForTheDisk("open");
    }
    return static_cast<int>(::syscall(SYS_openat, folder, path, flags, mode));
}

mode_t modeOf(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

ssize_t readAt(int descriptor, void* buffer, std::size_t size, off_t offset) {
    if (isOurs(descriptor)) {
        waitForTheDisk("read");
    }
    return ::syscall(SYS_pread64, descriptor, buffer, size, offset);
}

ssize_t readManyAt(int descriptor, const iovec* pieces, int count, off_t offset, int flags) {
    if (isOurs(descriptor) && isAsleep("read")) {
        if ((flags & RWF_NOWAIT) != 0) {
            errno = EAGAIN;
            return -1;
        }
        waitForTheDisk("read");
    }
    return ::syscall(SYS_preadv2, descriptor, pieces, count, offset, 0L, flags);
}

ssize_t sendAll(int socket, int file, off_t* offset, std::size_t size) {
    if (isOurs(file)) {
        waitForTheDisk("read");
    }
    return ::syscall(SYS_sendfile, socket, file, offset, size);
}

} // namespace

extern "C" {

ssize_t sendfile(int socket, int file, off_t* offset, std::size_t size) {
    return sendAll(socket, file, offset, size);
}

ssize_t sendfile64(int socket, int file, off_t* offset, std::size_t size) {
    return sendAll(socket, file, offset, size);
}

int openat(int folder, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openAt(folder, path, flags, mode);
}

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openAt(AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...) __attribute__((alias("open")));
int openat64(int folder, const char* path, int flags, ...) __attribute__((alias("openat")));

ssize_t pread(int descriptor, void* buffer, std::size_t size, off_t offset) {
    return readAt(descriptor, buffer, size, offset);
}

ssize_t pread64(int descriptor, void* buffer, std::size_t size, off_t offset) {
    return readAt(descriptor, buffer, size, offset);
}

ssize_t preadv2(int descriptor, const iovec* pieces, int count, off_t offset, int flags) {
    return readManyAt(descriptor, pieces, count, offset, flags);
}

ssize_t preadv64v2(int descriptor, const iovec* pieces, int count, off_t offset, int flags) {
    return readManyAt(descriptor, pieces, count, offset, flags);
}
}
