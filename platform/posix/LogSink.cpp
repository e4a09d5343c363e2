#include "platform/posix/LogSink.h"

#include "platform/posix/LogBuffer.h"
#include "platform/posix/Pipe.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace platform::posix {
namespace {

std::uint64_t lineCount(std::string_view lines) {
    return static_cast<std::uint64_t>(std::count(lines.begin(), lines.end(), '\n'));
}

bool isSameDevice(int one, int other) {
    struct stat first{};
    struct stat second{};
    return ::fstat(one, &first) == 0 && ::fstat(other, &second) == 0 &&
           first.st_rdev == second.st_rdev;
}

// The terminal opened once more, so that this side of it alone does not block: a terminal that
// was stopped takes less than it says.
UniqueFd reopenTerminal(int descriptor) {
    std::array<char, 256> name{};
    if (::ttyname_r(descriptor, name.data(), name.size()) != 0) {
        return {};
    }
    UniqueFd own(::open(name.data(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    return own && isSameDevice(own.get(), descriptor) ? std::move(own) : UniqueFd();
}

} // namespace

LogSink::LogSink(int descriptor, std::string linePrefix)
    : descriptor_(descriptor)
    , linePrefix_(std::move(linePrefix)) {
    struct stat status{};
    if (::fstat(descriptor_, &status) == 0) {
        isSocket_ = S_ISSOCK(status.st_mode);
        canBlock_ = S_ISFIFO(status.st_mode);
    }
    if (::isatty(descriptor_) == 1) {
        canBlock_ = true;
        ownTerminal_ = reopenTerminal(descriptor_);
        descriptor_ = ownTerminal_ ? ownTerminal_.get() : descriptor_;
    }
    if (auto wake = makePipe()) {
        wakeRead_ = std::move(wake->readEnd);
        wakeWrite_ = std::move(wake->writeEnd);
    }
}

void LogSink::write(std::string_view lines) {
    if (lost_ > 0 || midLine_) {
        const std::string note =
            (midLine_ ? "\n" : "") + (lost_ > 0 ? droppedLinesNote(linePrefix_, lost_) : "");
        std::string_view left = note;
        if (!writeAll(left)) {
            lost_ += lineCount(lines);
            return;
        }
        lost_ = 0;
    }
    if (!writeAll(lines)) {
        lost_ += lineCount(lines);
    }
}

bool LogSink::writeAll(std::string_view& bytes) {
    while (!bytes.empty()) {
        const long count = writeSome(bytes);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            pauseBeforeRetry();
            continue;
        }
        if (count <= 0) {
            return false;
        }
        const auto written = static_cast<std::size_t>(count);
        midLine_ = bytes[written - 1] != '\n';
        bytes.remove_prefix(written);
    }
    return true;
}

long LogSink::writeSome(std::string_view bytes) {
    std::array<pollfd, 2> ready{pollfd{.fd = descriptor_, .events = POLLOUT, .revents = 0},
                                pollfd{.fd = wakeRead_.get(), .events = POLLIN, .revents = 0}};
    const int polled = ::poll(ready.data(), ready.size(), -1);
    if (gaveUp_) {
        return 0;
    }
    if (polled < 0) {
        return -1;
    }
    if (isSocket_) {
        return ::send(descriptor_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    }
    // A pipe or terminal that is ready takes this much without blocking.
    const std::size_t atOnce = canBlock_ ? PIPE_BUF : std::size_t{1} << 20;
    return ::write(descriptor_, bytes.data(), std::min(bytes.size(), atOnce));
}

// A terminal with room for one byte says that it is ready and still takes no line feed, which it
// writes as two.
void LogSink::pauseBeforeRetry() {
    constexpr int milliseconds = 50;
    pollfd wake{.fd = wakeRead_.get(), .events = POLLIN, .revents = 0};
    ::poll(&wake, 1, milliseconds);
}

void LogSink::giveUp() {
    gaveUp_ = true;
    wakeWrite_.reset();
}

} // namespace platform::posix
