// Replaces a file so that a reader, and a machine that loses power, finds the old content or the
// new one, never a mixture: write to a temporary file beside it, flush it, rename it, flush the
// folder. The new file is private (0600) from the moment it exists, whatever the file-creation
// mask. Any thread, several at a time and in several processes: every call has a temporary file
// of its own (".new-" and 32 random hexadecimal digits), locked while it is written, and clears
// away those in the folder that nobody holds any more because a crash left them. Any other name is
// somebody else's.
#pragma once

#include <expected>
#include <filesystem>
#include <string_view>

namespace platform::posix {

// An errno value on failure; the old file is then as it was, and no temporary file is left. A
// symbolic link in the file's place is replaced, not followed.
[[nodiscard]] std::expected<void, int> replaceFile(const std::filesystem::path& path,
                                                   std::string_view content);

} // namespace platform::posix
