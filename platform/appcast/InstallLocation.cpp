#include "platform/appcast/InstallLocation.h"

#include <unistd.h>

#include <algorithm>

namespace platform::appcast {
namespace {

bool isBelow(const std::filesystem::path& path, const std::filesystem::path& folder) {
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first ==
           folder.end();
}

} // namespace

InstallLocation installLocation(const std::filesystem::path& bundle) {
    const auto path = bundle.lexically_normal();
    if (isBelow(path, "/usr") && !isBelow(path, "/usr/local")) {
        return InstallLocation::systemsOwn;
    }
    const bool canReplace =
        ::access(path.c_str(), W_OK) == 0 && ::access(path.parent_path().c_str(), W_OK | X_OK) == 0;
    return canReplace ? InstallLocation::ours : InstallLocation::notWritable;
}

} // namespace platform::appcast
