// One entry of the freedesktop.org autostart rules, version 0.5, as text: what a session of a
// given desktop would do with it, and how one is written. An entry is untrusted: whatever cannot
// be read as one is `broken`. Looks at the file system only to find the programs that the entry
// names.
#pragma once

#include "platform/Environment.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace platform {

enum class AutostartVerdict {
    starts,      // this executable, in this desktop
    switchedOff, // Hidden, X-GNOME-Autostart-enabled=false, or not for this desktop
    another,     // starts something else
    broken,      // starts nothing
};

// The session: PATH and XDG_CURRENT_DESKTOP count.
[[nodiscard]] AutostartVerdict judgeAutostart(const std::string& content,
                                              const std::filesystem::path& executable,
                                              const Environment& session);

struct AutostartFields {
    std::string name;
    std::filesystem::path executable;
    std::string icon;
};

[[nodiscard]] std::string autostartEntry(const AutostartFields& fields);

// An entry of a user's that hides one of the same name for every user.
[[nodiscard]] std::string hidingAutostartEntry(std::string_view name);

} // namespace platform
