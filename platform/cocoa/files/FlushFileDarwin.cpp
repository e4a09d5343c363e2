#include "platform/posix/FlushFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace platform::posix {
namespace {

// What a file system answers that knows no F_FULLFSYNC (network volumes, some FAT drivers).
bool isUnsupported(int errnoValue) {
    return errnoValue == ENOTSUP || errnoValue == EOPNOTSUPP || errnoValue == EINVAL ||
           errnoValue == ENOTTY || errnoValue == ENODEV;
}

} // namespace

int flushFile(int descriptor) noexcept {
    // fsync(2) alone leaves the data in the drive's own cache here.
    if (::fcntl(descriptor, F_FULLFSYNC) == 0) {
        return 0;
    }
    if (!isUnsupported(errno)) {
        return errno;
    }
    return ::fsync(descriptor) == 0 ? 0 : errno;
}

} // namespace platform::posix
