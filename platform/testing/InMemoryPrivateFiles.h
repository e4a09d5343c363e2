// Private files that exist in a map only; folders and links do not. For tests; one thread only.
#pragma once

#include "platform/PrivateFiles.h"

#include <functional>
#include <map>
#include <optional>

namespace platform::testing {

class InMemoryPrivateFiles final : public PrivateFiles {
  public:
    [[nodiscard]] bool exists(const std::filesystem::path& path) const override;
    [[nodiscard]] std::expected<std::string, FileError> read(const std::filesystem::path& path,
                                                             std::size_t maxBytes) const override;
    [[nodiscard]] std::expected<void, FileError> replace(const std::filesystem::path& path,
                                                         std::string_view content) override;
    [[nodiscard]] std::expected<void, FileError> remove(const std::filesystem::path& path) override;
    [[nodiscard]] std::expected<void, FileError> move(const std::filesystem::path& from,
                                                      const std::filesystem::path& to) override;

    std::map<std::filesystem::path, std::string> contents;
    std::optional<int> failure; // errno of every change from now on
    std::function<void(const std::filesystem::path& to)> beforeMove =
        {}; // what others do meanwhile
};

} // namespace platform::testing
