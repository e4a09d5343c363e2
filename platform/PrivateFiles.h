// The private files of one user, whole files at a time. A file that is written here can be read
// by its owner only (0600) from the moment it exists, and a reader, even after a loss of power,
// finds its old content or its new one, never a mixture. Failures are values that name the
// operation and the path; nothing is retried. Any thread; threads and processes that replace the
// same file at the same time leave the content of one of them.
#pragma once

#include "platform/FileSystem.h"

#include <cstddef>
#include <expected>
#include <filesystem>
#include <string>
#include <string_view>

namespace platform {

class PrivateFiles {
  public:
    virtual ~PrivateFiles() = default;

    // Whether something carries that name, be it a symbolic link that leads nowhere.
    [[nodiscard]] virtual bool exists(const std::filesystem::path& path) const = 0;

    // The bytes of a regular file, links followed. EFBIG above `maxBytes`; what is no regular file
    // is refused without blocking.
    [[nodiscard]] virtual std::expected<std::string, FileError>
    read(const std::filesystem::path& path, std::size_t maxBytes) const = 0;

    // A symbolic link in the file's place is replaced, not followed. After a failure the old file
    // is as it was, and nothing else is left.
    [[nodiscard]] virtual std::expected<void, FileError> replace(const std::filesystem::path& path,
                                                                 std::string_view content) = 0;

    // Removes a file or a link, never a folder.
    [[nodiscard]] virtual std::expected<void, FileError>
    remove(const std::filesystem::path& path) = 0;

    // Gives a file, folder or link another name. What carries the new name already is never
    // touched: EEXIST. On another volume the new name gets a copy, complete and flushed, with
    // permissions and times, and only then the old one is removed; what is neither file nor folder
    // nor link is refused there (ENOTSUP).
    [[nodiscard]] virtual std::expected<void, FileError> move(const std::filesystem::path& from,
                                                              const std::filesystem::path& to) = 0;
};

} // namespace platform
