#include "platform/ChildProcess.h"
#include "platform/ErrnoText.h"
#include "platform/FileSystem.h"

namespace platform {

std::string FileError::description() const {
    return attempt + ": " + errnoText(errnoValue);
}

std::string LaunchError::description() const {
    return attempt + ": " + errnoText(errnoValue);
}

} // namespace platform
