#include "platform/posix/Pipe.h"

#include "platform/posix/ProcessSystem.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

namespace platform::posix {
namespace {

constexpr int firstOrdinaryDescriptor = 3;

} // namespace

std::expected<UniqueFd, int> aboveStandardDescriptors(UniqueFd descriptor) {
    if (descriptor.get() >= firstOrdinaryDescriptor) {
        return descriptor;
    }
    UniqueFd moved(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, firstOrdinaryDescriptor));
    if (!moved) {
        return std::unexpected(errno);
    }
    return moved;
}

std::expected<Pipe, int> makePipe() {
    int ends[2] = {-1, -1};
    if (makeClosedOnExecPipe(ends) != 0) {
        return std::unexpected(errno);
    }
    UniqueFd lowRead(ends[0]);
    UniqueFd lowWrite(ends[1]);
    auto readEnd = aboveStandardDescriptors(std::move(lowRead));
    if (!readEnd) {
        return std::unexpected(readEnd.error());
    }
    auto writeEnd = aboveStandardDescriptors(std::move(lowWrite));
    if (!writeEnd) {
        return std::unexpected(writeEnd.error());
    }
    return Pipe{std::move(*readEnd), std::move(*writeEnd)};
}

std::expected<UniqueFd, int> openNullDevice() {
    UniqueFd device(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!device) {
        return std::unexpected(errno);
    }
    return aboveStandardDescriptors(std::move(device));
}

void setNonBlocking(int descriptor) {
    const int flags = ::fcntl(descriptor, F_GETFL);
    ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK);
}

std::size_t bytesWaiting(int descriptor) {
    int count = 0;
    if (::ioctl(descriptor, FIONREAD, &count) != 0 || count < 0) {
        return 0;
    }
    return static_cast<std::size_t>(count);
}

long readSome(int descriptor, char* buffer, std::size_t size) {
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer, size);
        if (count >= 0 || errno != EINTR) {
            return count;
        }
    }
}

} // namespace platform::posix
