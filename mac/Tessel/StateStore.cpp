#include "mac/Tessel/StateStore.h"

#include "platform/Text.h"

#include <fmt/format.h>

#include <cerrno>
#include <utility>

namespace tessel {
namespace {

constexpr mode_t ownerOnly = 0700;

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.pop_back();
    }
    return path;
}

// A name that begins with a slash stays below the folder, which path's own operator would leave.
std::filesystem::path below(const std::filesystem::path& folder, std::string_view name) {
    return folder.native() + '/' + std::string(name);
}

} // namespace

std::string StateStore::defaultStateDirOverrideKey(std::string_view appName) {
    return platform::replacingNonAlphanumerics(platform::upperCased(appName), '_') + "_STATE_DIR";
}

StateStore::StateStore(const Facilities& facilities, std::string_view appName,
                       const platform::Environment& environment,
                       const std::optional<std::string>& stateDirOverrideKey)
    : facilities_(facilities)
    , baseDir_(resolve(appName, environment, stateDirOverrideKey)) {
    // Each is tried whatever became of the one before; a store without a folder finds nothing.
    static_cast<void>(facilities_.fileSystem.createFolders(baseDir_, ownerOnly));
    static_cast<void>(facilities_.fileSystem.setPermissions(baseDir_, ownerOnly));
    static_cast<void>(facilities_.fileSystem.createFolders(trashDir()));
}

std::filesystem::path
StateStore::resolve(std::string_view appName, const platform::Environment& environment,
                    const std::optional<std::string>& stateDirOverrideKey) const {
    const auto key = stateDirOverrideKey.value_or(defaultStateDirOverrideKey(appName));
    const auto entry = environment.find(key);
    if (entry != environment.end() && !entry->second.empty()) {
        return overridden(entry->second);
    }
    const auto support = facilities_.fileSystem.applicationSupportFolder(false);
    const auto folder =
        support ? *support : facilities_.host.homeFolder() / "Library/Application Support";
    return withoutTrailingSlashes(below(folder, appName));
}

std::filesystem::path StateStore::overridden(const std::string& value) const {
    const auto path = withoutTrailingSlashes(withHome(value));
    return path.starts_with('/') ? std::filesystem::path(path)
                                 : facilities_.fileSystem.currentFolder() / path;
}

std::string StateStore::withHome(const std::string& value) const {
    if (!value.starts_with('~')) {
        return value;
    }
    const auto end = std::min(value.find('/'), value.size());
    const auto user = value.substr(1, end - 1);
    const auto home =
        user.empty() ? facilities_.host.homeFolder() : facilities_.host.homeFolderOf(user);
    return home ? withoutTrailingSlashes(home->native()) + value.substr(end) : value;
}

std::filesystem::path StateStore::trashDir() const {
    return below(baseDir_, "trash");
}

std::filesystem::path StateStore::credentialsURL() const {
    return below(baseDir_, "credentials.json");
}

std::filesystem::path StateStore::cacheURL(std::string_view name) const {
    return below(baseDir_, name);
}

void StateStore::saveCredentials(const Credentials& credentials) const {
    if (const auto text = credentialsText(credentials)) {
        static_cast<void>(facilities_.privateFiles.replace(credentialsURL(), *text));
    }
}

std::optional<Credentials> StateStore::loadCredentials() const {
    const auto text = facilities_.privateFiles.read(credentialsURL(), largestCredentials);
    return text ? decodeCredentials(*text) : std::nullopt;
}

void StateStore::deleteCredentials() const {
    static_cast<void>(facilities_.privateFiles.remove(credentialsURL()));
}

void StateStore::saveCache(std::string_view data, std::string_view name) const {
    static_cast<void>(facilities_.privateFiles.replace(cacheURL(name), data));
}

std::optional<std::string> StateStore::loadCache(std::string_view name) const {
    auto data = facilities_.privateFiles.read(cacheURL(name), largestCache);
    return data ? std::optional(*std::move(data)) : std::nullopt;
}

void StateStore::removeCache(std::string_view name) const {
    static_cast<void>(facilities_.privateFiles.remove(cacheURL(name)));
}

std::string StateStore::trashStamp() const {
    const auto time = facilities_.host.localTime(facilities_.clock.wallNow());
    return fmt::format("{:04}{:02}{:02}-{:02}{:02}{:02}", time.year, time.month, time.day,
                       time.hour, time.minute, time.second);
}

std::optional<std::filesystem::path>
StateStore::moveToTrash(const std::filesystem::path& path) const {
    const std::filesystem::path source = withoutTrailingSlashes(path.native());
    if (!facilities_.privateFiles.exists(source)) {
        return std::nullopt;
    }
    const std::string stamp = trashStamp();
    const std::string name = source.filename();
    auto candidate = below(trashDir(), stamp + "-" + name);
    for (unsigned n = 2;; ++n) {
        if (!facilities_.privateFiles.exists(candidate)) {
            const auto moved = facilities_.privateFiles.move(source, candidate);
            if (moved) {
                return candidate;
            }
            // Somebody may have taken the name since it was seen free.
            if (moved.error().errnoValue != EEXIST) {
                return std::nullopt;
            }
        }
        candidate = below(trashDir(), fmt::format("{}-{}-{}", stamp, n, name));
    }
}

} // namespace tessel
