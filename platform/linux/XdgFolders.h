// Where a user's files belong, by the XDG base directory rules (version 0.8). Variables
// that are unset, empty or not absolute count as unset. Pure functions, except that a user without
// HOME is looked up in the user database; nothing is created.
#pragma once

#include "platform/Environment.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace platform {

struct XdgFolders {
    std::filesystem::path dataHome;                     // $XDG_DATA_HOME, else ~/.local/share
    std::filesystem::path configHome;                   // $XDG_CONFIG_HOME, else ~/.config
    std::filesystem::path cacheHome;                    // $XDG_CACHE_HOME, else ~/.cache
    std::optional<std::filesystem::path> runtimeFolder; // $XDG_RUNTIME_DIR
    std::vector<std::filesystem::path> configFolders;   // $XDG_CONFIG_DIRS, else /etc/xdg
};

// $HOME when it is absolute, else the user database's answer, else "/".
[[nodiscard]] std::filesystem::path homeFolder(const Environment& environment);

[[nodiscard]] XdgFolders xdgFolders(const Environment& environment,
                                    const std::filesystem::path& home);

} // namespace platform
