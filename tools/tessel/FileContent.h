// A file named on the command line.
#pragma once

#include <expected>
#include <string>

namespace tool {

// All bytes of the file, or of standard input for "-"; or what was attempted and why it failed.
[[nodiscard]] std::expected<std::string, std::string> contentOf(const std::string& file);

} // namespace tool
