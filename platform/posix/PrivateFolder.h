// Folders that only their owner may enter, made with the missing ones above them. Any thread.
#pragma once

#include <filesystem>

namespace platform::posix {

// 0 when `folder` is a folder of mode 0700 afterwards and no symbolic link, else errno. The entry
// of a new folder is flushed in the one above, as far as the file system can.
[[nodiscard]] int ensurePrivateFolder(const std::filesystem::path& folder);

} // namespace platform::posix
