// The names in a folder: in the system's order, without "." and ".."; or an errno value.
// Any thread.
#pragma once

#include <expected>
#include <filesystem>
#include <string>
#include <vector>

namespace platform::posix {

// Of an open folder, whose descriptor's own reading position does not change.
[[nodiscard]] std::expected<std::vector<std::string>, int> folderEntries(int folder);

[[nodiscard]] std::expected<std::vector<std::string>, int>
folderEntries(const std::filesystem::path& folder);

} // namespace platform::posix
