// The system's own words for an errno value ("Permission denied"), without a full stop. Any
// thread; never fails: an unknown value gets a text that holds the number.
#pragma once

#include <string>

namespace platform {

// The words for one value.
[[nodiscard]] std::string errnoText(int errnoValue);

} // namespace platform
