// Lets two folders of one file system change places. At every moment, a killed process or a power
// failure included, each of the two names has one of the two folders, whole. A file system that
// cannot do that in one step (renameat2 with RENAME_EXCHANGE, Linux 3.15) gets renames with a way
// back, during which `target` is missing for a moment. Any thread; throws nothing.
#pragma once

#include <expected>
#include <filesystem>

namespace platform::appcast {

// An errno value on failure; both are then where they were.
[[nodiscard]] std::expected<void, int> exchangeFolders(const std::filesystem::path& staged,
                                                       const std::filesystem::path& target);

// The way for file systems that cannot; for tests of it.
[[nodiscard]] std::expected<void, int> exchangeByRenaming(const std::filesystem::path& staged,
                                                          const std::filesystem::path& target);

} // namespace platform::appcast
