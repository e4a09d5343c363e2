#include "platform/posix/SystemCopy.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>

#ifdef __APPLE__
#include <copyfile.h>
#include <sys/stdio.h>
#endif

namespace platform::posix {

#ifdef __APPLE__

int exchangeNames(const char* one, const char* other) {
    return ::renamex_np(one, other, RENAME_SWAP) == 0 ? 0 : errno;
}

int copyContent(int from, int to) {
    return ::fcopyfile(from, to, nullptr, COPYFILE_DATA | COPYFILE_XATTR | COPYFILE_ACL) == 0
               ? 0
               : errno;
}

timespec modificationTime(const struct stat& status) {
    return status.st_mtimespec;
}

#else

namespace {

int writeAll(int to, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(to, bytes, size);
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        if (count > 0) {
            bytes += count;
            size -= static_cast<std::size_t>(count);
        }
    }
    return 0;
}

} // namespace

int exchangeNames(const char* one, const char* other) {
    return ::renameat2(AT_FDCWD, one, AT_FDCWD, other, RENAME_EXCHANGE) == 0 ? 0 : errno;
}

int copyContent(int from, int to) {
    constexpr std::size_t pieceSize = std::size_t{64} << 10;
    std::array<char, pieceSize> piece{};
    while (true) {
        const ssize_t count = ::read(from, piece.data(), piece.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return errno;
        }
        if (count == 0) {
            return 0;
        }
        if (const int error = writeAll(to, piece.data(), static_cast<std::size_t>(count));
            error != 0) {
            return error;
        }
    }
}

timespec modificationTime(const struct stat& status) {
    return status.st_mtim;
}

#endif

} // namespace platform::posix
