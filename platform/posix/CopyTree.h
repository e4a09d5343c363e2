// Copies and removes whole folders, entry by entry, over descriptors: a link put in the place of a
// folder meanwhile is never followed. Any thread.
#pragma once

#include "platform/FileSystem.h"

#include <expected>
#include <filesystem>

namespace platform::posix {

// Fills an empty folder of ours with a copy of `source` and gives it that one's permissions and
// time; everything is flushed when the call succeeds. FolderTree.h says what is copied how.
[[nodiscard]] std::expected<void, FileError> copyTreeInto(const std::filesystem::path& source,
                                                          const std::filesystem::path& folder);

// Copies a file, a folder or a symbolic link under its own name into a folder where nothing has
// that name, likewise. After a failure something incomplete may be left there.
[[nodiscard]] std::expected<void, FileError> copyEntryInto(const std::filesystem::path& source,
                                                           const std::filesystem::path& folder);

// Removes whatever has that name, as far as this user may; folders without write permission too.
// Returns the first errno value, or 0; that nothing is there is no failure.
int removeTree(const std::filesystem::path& path);

} // namespace platform::posix
