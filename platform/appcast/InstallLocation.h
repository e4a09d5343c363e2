// Who may replace the application where it is. Any thread; throws nothing.
#pragma once

#include <filesystem>

namespace platform::appcast {

enum class InstallLocation {
    ours,        // this user can replace it
    systemsOwn,  // below /usr, but not /usr/local: its package manager replaces it
    notWritable, // somebody else's
};

[[nodiscard]] InstallLocation installLocation(const std::filesystem::path& bundle);

} // namespace platform::appcast
