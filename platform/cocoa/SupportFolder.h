// The user's Application Support folder as Foundation knows it; nothing is created. Any thread.
#pragma once

#include <expected>
#include <filesystem>
#include <string>

namespace platform::cocoa {

// Or why there is none, as a sentence for the user.
[[nodiscard]] std::expected<std::filesystem::path, std::string> supportFolder();

} // namespace platform::cocoa
