#pragma once

#include "ostrad/UniqueFd.h"

#include <string>
#include <string_view>

namespace ostrad {

// Opens what lies inside a folder, and nothing else: every component of the relative path is opened
// from the one before it without following symbolic links, so neither ".." nor a link planted after
// a check leads out. Returns an empty descriptor when the path, or what it names, is refused.

// A regular file, for reading.
UniqueFd openFileBeneath(const std::string& folder, std::string_view path);

// A folder; the empty path is the folder itself.
UniqueFd openFolderBeneath(const std::string& folder, std::string_view path);

} // namespace ostrad
