// What the user reads while a page's file is saved, and when that fails: the same on every system.
// Pure; any thread.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// The heading while the file `name` comes.
[[nodiscard]] inline std::string savingText(std::string_view name) {
    return "Saving " + std::string(name);
}

// The button that gives it up.
inline constexpr std::string_view cancelSavingText = "Cancel";

// Followed by the reason.
[[nodiscard]] inline std::string notSavedText(std::string_view name) {
    return std::string(name) + " could not be saved.";
}

} // namespace platform
