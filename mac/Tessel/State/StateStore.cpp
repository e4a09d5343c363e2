#include "mac/Tessel/State/StateStore.h"

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
    : StateStore(Existing{}, facilities, appName, environment, stateDirOverrideKey) {
    const auto remember = [this](Result result) {
        if (!result && !setUpFailure_) {
            setUpFailure_ = std::move(result.error());
        }
    };
    // Each is tried whatever became of the one before; a store without a folder finds nothing.
    remember(facilities_.fileSystem.createFolders(baseDir_, ownerOnly));
    remember(facilities_.fileSystem.setPermissions(baseDir_, ownerOnly));
    remember(facilities_.fileSystem.createFolders(trashDir()));
}

StateStore::StateStore(Existing /*tag*/, const Facilities& facilities, std::string_view appName,
                       const platform::Environment& environment,
                       const std::optional<std::string>& stateDirOverrideKey)
    : facilities_(facilities)
    , baseDir_(resolve(appName, environment, stateDirOverrideKey)) {}

StateStore StateStore::existing(const Facilities& facilities, std::string_view appName,
                                const platform::Environment& environment,
                                const std::optional<std::string>& stateDirOverrideKey) {
    return {Existing{}, facilities, appName, environment, stateDirOverrideKey};
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

StateStore::Result StateStore::tryReplace(const std::filesystem::path& file, std::string_view data,
                                          std::size_t most) const {
    if (data.size() > most) {
        return std::unexpected(platform::FileError{
            .attempt = "cannot write the file " + file.native(), .errnoValue = EFBIG});
    }
    return facilities_.privateFiles.replace(file, data);
}

StateStore::Result StateStore::tryRemove(const std::filesystem::path& file) const {
    auto removed = facilities_.privateFiles.remove(file);
    if (!removed && removed.error().errnoValue == ENOENT) {
        return {};
    }
    return removed;
}

StateStore::Result StateStore::trySaveCredentials(const Credentials& credentials) const {
    const auto text = credentialsText(credentials);
    if (!text) {
        return std::unexpected(platform::FileError{
            .attempt = "cannot write the file " + credentialsURL().native(), .errnoValue = EILSEQ});
    }
    return tryReplace(credentialsURL(), *text, largestCredentials);
}

void StateStore::saveCredentials(const Credentials& credentials) const {
    static_cast<void>(trySaveCredentials(credentials));
}

std::optional<Credentials> StateStore::loadCredentials() const {
    const auto text = facilities_.privateFiles.read(credentialsURL(), largestCredentials);
    return text ? decodeCredentials(*text) : std::nullopt;
}

StateStore::Result StateStore::tryDeleteCredentials() const {
    return tryRemove(credentialsURL());
}

void StateStore::deleteCredentials() const {
    static_cast<void>(tryDeleteCredentials());
}

StateStore::Result StateStore::trySaveCache(std::string_view data, std::string_view name) const {
    return tryReplace(cacheURL(name), data, largestCache);
}

void StateStore::saveCache(std::string_view data, std::string_view name) const {
    static_cast<void>(trySaveCache(data, name));
}

std::optional<std::string> StateStore::loadCache(std::string_view name) const {
    auto data = facilities_.privateFiles.read(cacheURL(name), largestCache);
    return data ? std::optional(*std::move(data)) : std::nullopt;
}

StateStore::Result StateStore::tryRemoveCache(std::string_view name) const {
    return tryRemove(cacheURL(name));
}

void StateStore::removeCache(std::string_view name) const {
    static_cast<void>(tryRemoveCache(name));
}

std::string StateStore::trashStamp() const {
    const auto time = facilities_.host.localTime(facilities_.clock.wallNow());
    return fmt::format("{:04}{:02}{:02}-{:02}{:02}{:02}", time.year, time.month, time.day,
                       time.hour, time.minute, time.second);
}

std::optional<std::filesystem::path>
StateStore::moveToTrash(const std::filesystem::path& path) const {
    auto moved = tryMoveToTrash(path);
    return moved ? std::optional(*std::move(moved)) : std::nullopt;
}

std::expected<std::filesystem::path, platform::FileError>
StateStore::tryMoveToTrash(const std::filesystem::path& path) const {
    const std::filesystem::path source = withoutTrailingSlashes(path.native());
    if (!facilities_.privateFiles.exists(source)) {
        return std::unexpected(platform::FileError{
            .attempt = fmt::format("cannot move {} to the trash", source.native()),
            .errnoValue = ENOENT});
    }
    const std::string stamp = trashStamp();
    const std::string name = source.filename();
    auto candidate = below(trashDir(), stamp + "-" + name);
    for (unsigned n = 2;; ++n) {
        if (!facilities_.privateFiles.exists(candidate)) {
            auto moved = facilities_.privateFiles.move(source, candidate);
            if (moved) {
                return candidate;
            }
            // Somebody may have taken the name since it was seen free.
            if (moved.error().errnoValue != EEXIST) {
                return std::unexpected(std::move(moved.error()));
            }
        }
        candidate = below(trashDir(), fmt::format("{}-{}-{}", stamp, n, name));
    }
}

} // namespace tessel
