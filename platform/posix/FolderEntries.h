// The names in an open folder. The descriptor's own reading position does not change. Any thread.
#pragma once

#include <expected>
#include <string>
#include <vector>

namespace platform::posix {

// In the system's order, without "." and ".."; or an errno value.
[[nodiscard]] std::expected<std::vector<std::string>, int> folderEntries(int folder);

} // namespace platform::posix
