// Where an instance is and shows itself: its host, its process and its displays. What an instance
// writes into its lock file and another reads there. Pure functions but for here(); any thread.
#pragma once

#include "platform/Environment.h"

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace platform::desktop {

struct InstancePlace {
    std::string host;
    pid_t process = 0;
    std::string x11 = {};     // DISPLAY without its screen
    std::string wayland = {}; // the socket of WAYLAND_DISPLAY, absolute

    bool operator==(const InstancePlace&) const = default;
};

// Of this process.
[[nodiscard]] InstancePlace here(const Environment& environment);
// Whether somebody at the one place sees what the other shows.
[[nodiscard]] bool shareADisplay(const InstancePlace& one, const InstancePlace& other);

[[nodiscard]] std::string written(const InstancePlace& place);
// Nothing when it is not what written() says.
[[nodiscard]] std::optional<InstancePlace> readPlace(std::string_view text);

// For a sentence: "process 12 on mars, display :0".
[[nodiscard]] std::string describe(const InstancePlace& place);
[[nodiscard]] std::string describeDisplay(const InstancePlace& place);

} // namespace platform::desktop
