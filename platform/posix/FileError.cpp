#include "platform/FileSystem.h"
#include "platform/posix/ErrnoText.h"

#include <fmt/core.h>

namespace platform {

std::string FileError::description() const {
    return fmt::format("{}: {}", attempt, posix::errnoText(errnoValue));
}

} // namespace platform
