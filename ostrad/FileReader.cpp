#include "ostrad/FileReader.h"

#ifdef __linux__
#include <poll.h>
#include <sys/sendfile.h>
#endif
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace ostrad {

#ifdef __linux__
namespace {

// Whether the socket takes more before long.
bool takesMore(int socket) {
    constexpr int kPatienceMilliseconds = 50;
    pollfd waiting{.fd = socket, .events = POLLOUT, .revents = 0};
    return ::poll(&waiting, 1, kPatienceMilliseconds) > 0;
}

} // namespace
#endif

FileReader::FileReader(UniqueFd openFile, std::size_t mostAtOnce)
    : file(std::move(openFile))
    , pieceSize(mostAtOnce) {}

ssize_t FileReader::read(std::uint64_t offset, std::size_t size) {
    piece.resize(pieceSize);
    ssize_t got = -1;
    do {
        got = ::pread(file.get(), piece.data(), std::min(size, piece.size()),
                      static_cast<off_t>(offset));
    } while (got < 0 && errno == EINTR);
    return got;
}

std::optional<ssize_t> FileReader::readAtOnce(std::uint64_t offset, std::size_t size) {
#ifdef RWF_NOWAIT
    if (!mayTell) {
        return std::nullopt;
    }
    piece.resize(pieceSize);
    const iovec where{.iov_base = piece.data(), .iov_len = std::min(size, piece.size())};
    const ssize_t got = ::preadv2(file.get(), &where, 1, static_cast<off_t>(offset), RWF_NOWAIT);
    mayTell = got >= 0 || errno != EOPNOTSUPP;
    return got < 0 ? std::nullopt : std::optional(got);
#else
    static_cast<void>(offset);
    static_cast<void>(size);
    return std::nullopt;
#endif
}

std::optional<std::uint64_t> FileReader::sendTo(int socket, std::uint64_t offset,
                                                std::uint64_t size) const {
#ifdef __linux__
    std::uint64_t sent = 0;
    while (sent < size) {
        auto from = static_cast<off_t>(offset + sent);
        const ssize_t got = ::sendfile(socket, file.get(), &from, size - sent);
        if (got > 0) {
            sent += static_cast<std::uint64_t>(got);
        } else if (got == 0) {
            return sent;
        } else if (errno == EAGAIN) {
            if (!takesMore(socket)) {
                return sent;
            }
        } else if (errno != EINTR) {
            return std::nullopt; // whatever it is, the ordinary way finds out
        }
    }
    return sent;
#else
    static_cast<void>(socket);
    static_cast<void>(offset);
    static_cast<void>(size);
    return std::nullopt;
#endif
}

} // namespace ostrad
