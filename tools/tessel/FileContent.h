// A file named on the command line.
#pragma once

#include <cstddef>
#include <expected>
#include <string>

namespace tool {

// Larger than any document this tool reads.
constexpr std::size_t largestDocument = std::size_t{16} << 20;

// All bytes of the file, or of standard input for "-"; or what was attempted and why it failed. Not
// more than `most` bytes are read.
[[nodiscard]] std::expected<std::string, std::string> contentOf(const std::string& file,
                                                                std::size_t most = largestDocument);

} // namespace tool
