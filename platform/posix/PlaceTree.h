// Puts a prepared file or folder in the place of another one on the same file system, with a way
// back at every step. Any thread.
#pragma once

#include <filesystem>
#include <string_view>

namespace platform::posix {

using ExchangeNames = int (*)(const char* one, const char* other);

// The stem of hidden names beside `destination`: ".Name.KIND-".
[[nodiscard]] std::filesystem::path hiddenSibling(const std::filesystem::path& destination,
                                                  std::string_view kind);

// Moves `prepared`, a sibling of `destination`, to it; what was there is removed afterwards. In
// one step where `exchange` can, else in two, between which the old one has a hidden name of kind
// "old". An errno value on failure, with both where they were; 0 on success.
[[nodiscard]] int placeTree(const std::filesystem::path& prepared,
                            const std::filesystem::path& destination, ExchangeNames exchange);

} // namespace platform::posix
