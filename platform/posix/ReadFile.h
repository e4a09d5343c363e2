// Reads a whole regular file of bounded size. Anything else that carries the name (a folder, a
// pipe, a device) is refused without blocking. Any thread.
#pragma once

#include <cstddef>
#include <expected>
#include <filesystem>
#include <string>

namespace platform::posix {

enum class Links { follow, refuse };

// The content, or an errno value: EFBIG above `maxBytes`, EISDIR for a folder, EINVAL for what is
// neither file nor folder, ELOOP for a symbolic link as the last component if it is refused.
[[nodiscard]] std::expected<std::string, int>
readFile(const std::filesystem::path& path, std::size_t maxBytes, Links links = Links::follow);

} // namespace platform::posix
