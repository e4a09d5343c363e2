// Whether the display that the environment names is there, without a toolkit and without waiting:
// somebody listens on its socket. A display on another machine is taken to be there. Any thread.
#pragma once

#include "platform/Environment.h"

#include <optional>
#include <string>

namespace platform::desktop {

// Nothing when there is a display; else why not, for a user, without a full stop.
[[nodiscard]] std::optional<std::string> displayTrouble(const Environment& environment);

// The same sentence for a display that is there but cannot be opened.
[[nodiscard]] std::string unusableDisplay(const Environment& environment);

} // namespace platform::desktop
