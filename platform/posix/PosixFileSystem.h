// FileSystem over POSIX calls. Symbolic links are followed everywhere: a user who moved a data
// folder to another disk and linked to it keeps a working application, and setPermissions then
// changes the folder behind the link. Folders that createFolders makes with a mode never have
// a permission bit that was not asked for, and the file-creation mask takes none of them away.
// Errors carry the failing call's errno; ENOTDIR stands for a file where a folder was wanted.
#pragma once

#include "platform/FileSystem.h"

namespace platform {

class PosixFileSystem final : public FileSystem {
  public:
    // `supportFolder` is what applicationSupportFolder() answers; missing levels are made 0700.
    explicit PosixFileSystem(std::filesystem::path supportFolder);

    [[nodiscard]] bool fileExists(const std::filesystem::path& path) const override;
    [[nodiscard]] std::expected<std::vector<std::string>, FileError>
    fileNames(const std::filesystem::path& folder) const override;
    [[nodiscard]] std::expected<std::filesystem::path, FileError>
    applicationSupportFolder(bool create) override;
    // Empty when the folder was removed.
    [[nodiscard]] std::filesystem::path currentFolder() const override;
    [[nodiscard]] std::expected<void, FileError> createFolders(const std::filesystem::path& folder,
                                                               mode_t mode) override;
    [[nodiscard]] std::expected<void, FileError>
    createFolders(const std::filesystem::path& folder) override;
    [[nodiscard]] std::expected<void, FileError> setPermissions(const std::filesystem::path& path,
                                                                mode_t mode) override;
    mode_t exchangeFileCreationMask(mode_t mask) override;

  private:
    std::filesystem::path supportFolder_;
};

} // namespace platform
