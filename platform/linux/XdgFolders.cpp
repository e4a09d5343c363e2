#include "platform/linux/XdgFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <sstream>
#include <string>

namespace platform {
namespace {

std::optional<std::filesystem::path> absolutePath(const Environment& environment,
                                                  const char* name) {
    const auto found = environment.find(name);
    if (found == environment.end() || !found->second.starts_with('/')) {
        return std::nullopt;
    }
    return found->second;
}

std::filesystem::path homeFromUserDatabase() {
    constexpr std::size_t roomForOneEntry = std::size_t{16} << 10;
    std::vector<char> buffer(roomForOneEntry);
    passwd entry{};
    passwd* found = nullptr;
    ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
    return found != nullptr && *found->pw_dir == '/' ? found->pw_dir : "/";
}

std::vector<std::filesystem::path> configFolders(const Environment& environment) {
    std::vector<std::filesystem::path> folders;
    std::istringstream list(valueOf(environment, "XDG_CONFIG_DIRS"));
    for (std::string folder; std::getline(list, folder, ':');) {
        if (folder.starts_with('/')) {
            folders.emplace_back(folder);
        }
    }
    return folders.empty() ? std::vector<std::filesystem::path>{"/etc/xdg"} : folders;
}

} // namespace

std::filesystem::path homeFolder(const Environment& environment) {
    const auto home = absolutePath(environment, "HOME");
    return home ? *home : homeFromUserDatabase();
}

XdgFolders xdgFolders(const Environment& environment, const std::filesystem::path& home) {
    return {
        .dataHome = absolutePath(environment, "XDG_DATA_HOME").value_or(home / ".local/share"),
        .configHome = absolutePath(environment, "XDG_CONFIG_HOME").value_or(home / ".config"),
        .cacheHome = absolutePath(environment, "XDG_CACHE_HOME").value_or(home / ".cache"),
        .runtimeFolder = absolutePath(environment, "XDG_RUNTIME_DIR"),
        .configFolders = configFolders(environment),
    };
}

} // namespace platform
