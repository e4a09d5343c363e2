// One private folder (0700) for the state of one application, and the named places in it: the
// credentials, caches, and a trash into which things are set aside instead of being deleted.
// Every file written here is 0600 from the moment it exists and replaced as a whole. What cannot be
// read is absent, what cannot be written is not there afterwards; whoever has to know why asks the
// operations that begin with "try", which do the same and return the failure.
// Immutable after construction; every call blocks for its file work and may be made on any thread;
// of two writers of one name the last one wins. The facilities outlive the store.
#pragma once

#include "mac/Tessel/State/Credentials.h"
#include "platform/Clock.h"
#include "platform/Environment.h"
#include "platform/FileSystem.h"
#include "platform/Host.h"
#include "platform/PrivateFiles.h"

#include <cstddef>
#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tessel {

class StateStore {
  public:
    // What outlives the store.
    struct Facilities {
        // Folders, files, the user's home, and the time of the trash.
        platform::FileSystem& fileSystem;
        platform::PrivateFiles& privateFiles;
        platform::Host& host;
        platform::Clock& clock;
    };

    // Larger files are neither written nor read (EFBIG).
    static constexpr std::size_t largestCredentials = std::size_t{16} << 20;
    static constexpr std::size_t largestCache = std::size_t{256} << 20;

    // The environment variable that moves the state of an application of that name elsewhere:
    // "My App" has MY_APP_STATE_DIR.
    [[nodiscard]] static std::string defaultStateDirOverrideKey(std::string_view appName);

    // Resolves and creates the folder. The variable's value, when there is one and it is not empty,
    // is the folder itself ("~" and "~name" in front stand for home folders; a relative path
    // starts at the current folder); else it is the folder of the application's name in the
    // user's Application Support.
    StateStore(const Facilities& facilities, std::string_view appName,
               const platform::Environment& environment,
               const std::optional<std::string>& stateDirOverrideKey = std::nullopt);

    // The store of a program that only looks: makes no folder and changes no permissions.
    [[nodiscard]] static StateStore
    existing(const Facilities& facilities, std::string_view appName,
             const platform::Environment& environment,
             const std::optional<std::string>& stateDirOverrideKey = std::nullopt);

    // What kept the constructor from making the folder, its permissions or the trash.
    [[nodiscard]] const std::optional<platform::FileError>& setUpFailure() const {
        return setUpFailure_;
    }

    // The folder, and the places in it. Nothing is looked up on the disk.
    [[nodiscard]] const std::filesystem::path& baseDir() const { return baseDir_; }
    [[nodiscard]] std::filesystem::path trashDir() const;
    [[nodiscard]] std::filesystem::path credentialsURL() const;
    // The name is used as it is: nothing is appended, nothing is cleaned.
    [[nodiscard]] std::filesystem::path cacheURL(std::string_view name) const;

    // In credentials.json. Absent when there are none that can be read.
    void saveCredentials(const Credentials& credentials) const;
    [[nodiscard]] std::optional<Credentials> loadCredentials() const;
    void deleteCredentials() const;

    // A file of that name. Absent when it cannot be read, for any reason.
    void saveCache(std::string_view data, std::string_view name) const;
    [[nodiscard]] std::optional<std::string> loadCache(std::string_view name) const;
    void removeCache(std::string_view name) const;

    // Moves a file, folder or link (not what it leads to) into the trash, under its name with the
    // local time in front, and returns the new place; nothing when nothing was there or the move
    // failed. From another volume it is copied, and removed once the copy is complete.
    [[nodiscard]] std::optional<std::filesystem::path>
    moveToTrash(const std::filesystem::path& path) const;

    // Nothing, or the operation, the path and errno.
    using Result = std::expected<void, platform::FileError>;
    // Success means that the change is on the disk. Removing what is not there is success.
    [[nodiscard]] Result trySaveCredentials(const Credentials& credentials) const;
    [[nodiscard]] Result tryDeleteCredentials() const;
    [[nodiscard]] Result trySaveCache(std::string_view data, std::string_view name) const;
    [[nodiscard]] Result tryRemoveCache(std::string_view name) const;
    // ENOENT when there is nothing to move.
    [[nodiscard]] std::expected<std::filesystem::path, platform::FileError>
    tryMoveToTrash(const std::filesystem::path& path) const;

  private:
    struct Existing {};
    StateStore(Existing, const Facilities& facilities, std::string_view appName,
               const platform::Environment& environment,
               const std::optional<std::string>& stateDirOverrideKey);

    [[nodiscard]] Result tryReplace(const std::filesystem::path& file, std::string_view data,
                                    std::size_t most) const;
    [[nodiscard]] Result tryRemove(const std::filesystem::path& file) const;
    [[nodiscard]] std::filesystem::path
    resolve(std::string_view appName, const platform::Environment& environment,
            const std::optional<std::string>& stateDirOverrideKey) const;
    [[nodiscard]] std::filesystem::path overridden(const std::string& value) const;
    [[nodiscard]] std::string withHome(const std::string& value) const;
    [[nodiscard]] std::string trashStamp() const;

    Facilities facilities_;
    std::filesystem::path baseDir_;
    std::optional<platform::FileError> setUpFailure_;
};

} // namespace tessel
