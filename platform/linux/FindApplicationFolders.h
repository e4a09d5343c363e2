// Where applications live on this desktop: /Applications, the same in the home folder, and below
// /usr and /opt what packages install. Links are resolved, since a running executable is known by
// its real path: a home folder may well be reached through one. Any thread.
#pragma once

#include "platform/ApplicationFolders.h"

#include <filesystem>

namespace platform {

[[nodiscard]] ApplicationFolders findApplicationFolders(const std::filesystem::path& home);

} // namespace platform
