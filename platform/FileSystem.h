// The few file operations the product asks for. Failures are values that name the operation and
// the path; nothing is retried. Any thread, except that the file-creation mask is a property of
// the whole process: exchange it only on the main thread and put the old one back.
#pragma once

#include <sys/types.h>

#include <expected>
#include <filesystem>
#include <string>
#include <vector>

namespace platform {

// What was attempted, and the system's reason (an errno value).
struct FileError {
    std::string attempt; // for example "cannot create the folder /home/ann/.local/share"
    int errnoValue = 0;  // why

    // Attempt and reason as one sentence without a full stop, fit for a user.
    [[nodiscard]] std::string description() const;
};

class FileSystem {
  public:
    virtual ~FileSystem() = default;

    // Whether something (after symbolic links) is there.
    [[nodiscard]] virtual bool fileExists(const std::filesystem::path& path) const = 0;
    // The names in a folder in the system's order, without "." and "..".
    [[nodiscard]] virtual std::expected<std::vector<std::string>, FileError>
    fileNames(const std::filesystem::path& folder) const = 0;
    // The user's Application Support folder. With `create` it exists when the call succeeds.
    [[nodiscard]] virtual std::expected<std::filesystem::path, FileError>
    applicationSupportFolder(bool create) = 0;
    // The process's working folder, absolute; empty when the system cannot say.
    [[nodiscard]] virtual std::filesystem::path currentFolder() const = 0;

    // Creates the folder and those above it that are missing, each with `mode` from the moment it
    // exists. An existing folder is success and keeps its mode.
    [[nodiscard]] virtual std::expected<void, FileError>
    createFolders(const std::filesystem::path& folder, mode_t mode) = 0;
    // The same with the mode that the file-creation mask leaves of 0777.
    [[nodiscard]] virtual std::expected<void, FileError>
    createFolders(const std::filesystem::path& folder) = 0;
    // chmod(2); symbolic links are followed.
    [[nodiscard]] virtual std::expected<void, FileError>
    setPermissions(const std::filesystem::path& path, mode_t mode) = 0;

    // Sets the process's file-creation mask and returns the old one (POSIX umask).
    virtual mode_t exchangeFileCreationMask(mode_t mask) = 0;
};

} // namespace platform
