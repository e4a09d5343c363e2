// A permission of a Wayland compositor's to take the focus (xdg-activation-v1).
#pragma once

#include <filesystem>
#include <string>

namespace desktop {

// As a program without a window asks for one. Throws std::runtime_error when the compositor at that
// socket cannot be reached or has no such permissions.
[[nodiscard]] std::string askForActivationToken(const std::filesystem::path& socket);

} // namespace desktop
