// Puts a finished file into a folder of the user's. On the same volume it is renamed; on another it
// is copied into a file without a name (where the file system has such), which gets its name when
// it is whole. Blocks; any thread.
#pragma once

#include <filesystem>
#include <stop_token>
#include <string>

namespace platform::gtk {

// Empty when the file is in its place, else why not. With `replace` the file that is there goes;
// without it, one that has come meanwhile stays, and ours gets a number behind its name.
[[nodiscard]] std::string placeFile(const std::filesystem::path& file,
                                    const std::filesystem::path& target, bool replace,
                                    const std::stop_token& stop);

} // namespace platform::gtk
