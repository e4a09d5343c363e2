#include "platform/linux/FindApplicationFolders.h"

#include <system_error>

namespace platform {
namespace {

// As far as it exists; a path that cannot be resolved stays as it is.
std::filesystem::path real(const std::filesystem::path& path) {
    std::error_code failed;
    auto resolved = std::filesystem::weakly_canonical(path, failed);
    return failed ? path : resolved;
}

} // namespace

ApplicationFolders findApplicationFolders(const std::filesystem::path& home) {
    return {.system = real("/Applications"),
            .user = real(home / "Applications"),
            .packagePrefixes = {real("/usr"), real("/opt")}};
}

} // namespace platform
