// The window program that the executable started before it loaded the application, if it did. What
// is in here is the whole of what the two know of each other: the executable finds the function by
// its name. Main thread only.
#pragma once

#include "platform/linux/WindowSpawn.h"

#include <optional>

extern "C" {
// The executable's word, before it calls the application's main.
__attribute__((visibility("default"))) void zorvaneWindowWasStarted(int pid, int socket);
}

namespace platform::desktop {

inline constexpr const char* windowWasStartedName = "zorvaneWindowWasStarted";

// Once; then it is the caller's.
[[nodiscard]] std::optional<SpawnedWindow> takeWindowStartedFirst();

} // namespace platform::desktop
