// The order of versions that updates go by: whole numbers separated by dots, a missing position
// counts as 0. Whatever else a version says ("2.0-rc1", "-1", "next") cannot be read: it is older
// than every version that can be, and never newer than anything. This is a strict weak order, so
// that no mistake in a feed leads back to an older version. Pure functions; any thread.
#pragma once

#include <string_view>

namespace platform::appcast {

[[nodiscard]] bool isReadableVersion(std::string_view text);
[[nodiscard]] bool isNewerVersion(std::string_view a, std::string_view than);

} // namespace platform::appcast
