// The buttons of what a page asks by confirm(), where the system gives them no titles of its own.
#pragma once

#include "platform/WebWindow.h"

namespace tessel {

// To accept and to refuse. Any thread.
[[nodiscard]] inline platform::ConfirmTitles pageConfirmTitles() {
    return {.accept = "OK", .refuse = "Cancel"};
}

} // namespace tessel
