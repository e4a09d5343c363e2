// PrivateFiles over POSIX calls, see readFile() and replaceFile(). A path with a NUL byte in it is
// refused (EINVAL) instead of being cut there. move() takes the new name with an empty file or
// folder first, which the rename then replaces, so that nobody else's is ever overwritten; a copy
// is made in a hidden folder beside it.
#pragma once

#include "platform/PrivateFiles.h"

namespace platform {

class PosixPrivateFiles final : public PrivateFiles {
  public:
    [[nodiscard]] bool exists(const std::filesystem::path& path) const override;
    [[nodiscard]] std::expected<std::string, FileError> read(const std::filesystem::path& path,
                                                             std::size_t maxBytes) const override;
    [[nodiscard]] std::expected<void, FileError> replace(const std::filesystem::path& path,
                                                         std::string_view content) override;
    [[nodiscard]] std::expected<void, FileError> remove(const std::filesystem::path& path) override;
    [[nodiscard]] std::expected<void, FileError> move(const std::filesystem::path& from,
                                                      const std::filesystem::path& to) override;
};

} // namespace platform
