// The text on a display's clipboard, asked for as another program would (the CLIPBOARD selection
// of the Inter-Client Communication Conventions Manual, as UTF8_STRING).
#pragma once

#include <optional>
#include <string>

namespace desktop {

// Nothing when nobody offers text within a second.
[[nodiscard]] std::optional<std::string> clipboardText(const std::string& display);

} // namespace desktop
