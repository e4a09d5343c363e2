// DurableFiles over POSIX calls, with the fewest that do the work: mkdir(2), lstat(2), open(2) with
// O_EXCL and O_NOFOLLOW, rename(2), fsync(2) or its equal, flock(2) on the folder itself.
#pragma once

#include "platform/DurableFiles.h"

namespace platform {

class PosixDurableFiles final : public DurableFiles {
  public:
    [[nodiscard]] Result ensurePrivateFolder(const std::filesystem::path& folder) override;
    [[nodiscard]] std::expected<std::unique_ptr<PrivateFile>, FileError>
    createPrivateFile(const std::filesystem::path& path) override;
    [[nodiscard]] Result rename(const std::filesystem::path& from,
                                const std::filesystem::path& to) override;
    [[nodiscard]] Result makePrivate(const std::filesystem::path& file) override;
    [[nodiscard]] Result remove(const std::filesystem::path& file) override;
    [[nodiscard]] std::expected<void, FolderFlushError>
    flushFolder(const std::filesystem::path& folder) override;
    [[nodiscard]] std::expected<std::vector<std::string>, FileError>
    fileNames(const std::filesystem::path& folder) const override;
    [[nodiscard]] std::expected<std::string, FileError> read(const std::filesystem::path& file,
                                                             std::size_t maxBytes) const override;
    [[nodiscard]] std::expected<std::unique_ptr<FolderLock>, FileError>
    lockFolder(const std::filesystem::path& folder) override;
};

} // namespace platform
