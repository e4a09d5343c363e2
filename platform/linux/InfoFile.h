// A property list that holds a dictionary, such as a bundle's Info.plist: XML of at most 1 MiB or a
// binary list of at most 64 KiB. A string that is not well-formed UTF-8 counts as a value that is
// no string. Blocks; any thread.
#pragma once

#include "platform/Bundle.h"

#include <expected>
#include <filesystem>
#include <string>

namespace platform {

// Or what was attempted and why it failed, with the path.
[[nodiscard]] std::expected<InfoDictionary, std::string>
readInfoFile(const std::filesystem::path& path);

} // namespace platform
