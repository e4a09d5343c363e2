// Makes an application that lies in an Applications folder known to the desktop, as a Mac's system
// does by itself: its launcher in the user's menu of applications and its icon. Both belong to the
// bundle: the launcher names the executable that has to be there (TryExec) and the icon is a link
// into the bundle, so a desktop shows neither once the bundle is gone. The files themselves go when
// an application with this id ends or starts the next time. Main thread only.
#pragma once

#include "platform/FileSystem.h"

#include <expected>
#include <filesystem>
#include <string>

namespace platform {

struct Launcher {
    std::string applicationId = {};   // the names of launcher and icon
    std::filesystem::path entry = {}; // the bundle's own desktop entry, whose Exec names no place
    std::filesystem::path icon = {};  // the bundle's, an SVG file
    std::filesystem::path executable = {}; // the bundle's
};

// Below `dataHome` (XdgFolders.h). What is there already and starts this executable is left as it
// is, with whatever the user made of it. The error is one sentence for a log.
[[nodiscard]] std::expected<void, std::string>
keepLauncher(const Launcher& launcher, const std::filesystem::path& dataHome, FileSystem& files);

// Removes a launcher below `dataHome` whose program is not there any more, and its icon: beside a
// package's own launcher it would hide that one. What does not name its program stays. The error is
// one sentence for a log.
[[nodiscard]] std::expected<void, std::string>
removeStrayLauncher(const std::string& applicationId, const std::filesystem::path& dataHome);

} // namespace platform
