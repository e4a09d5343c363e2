#include "platform/posix/FlushFile.h"

#include <unistd.h>

#include <cerrno>

namespace platform::posix {

int flushFile(int descriptor) noexcept {
    return ::fsync(descriptor) == 0 ? 0 : errno;
}

} // namespace platform::posix
