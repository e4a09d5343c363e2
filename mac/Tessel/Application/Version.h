// Which of two version strings is the newer one. Stateless; any thread; throws nothing.
#pragma once

#include <string_view>

namespace tessel {

struct AppVersion {
    // Versions are whole numbers, which may be negative, separated by dots; a missing position
    // counts as 0, so 1.2 and 1.2.0 are equal. An empty `a` is never newer. When either does not
    // read as a version, any difference between the two makes `a` the newer one.
    [[nodiscard]] static bool isNewer(std::string_view a, std::string_view than);
};

} // namespace tessel
