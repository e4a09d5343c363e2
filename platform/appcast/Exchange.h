// Lets two folders of one file system change places. At every moment, a killed process or a power
// failure included, each of the two names has one of the two folders, whole. A file system that
// cannot do that in one step (renameat2 with RENAME_EXCHANGE, Linux 3.15) gets renames with a way
// back, during which `target` is missing for a moment. A process of their own makes them, so that a
// kill of the caller leaves them done, and a kill of theirs is undone; only a power failure in that
// moment, or a kill of both, leaves the old folder beside `staged` under a name with ".previous".
// Any thread; throws nothing but std::bad_alloc.
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
