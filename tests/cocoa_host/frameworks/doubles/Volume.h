// How full the volumes are.
#pragma once

#include <cstdint>
#include <optional>

namespace cocoa_host {

// The bytes that every volume has left for the user from now on; nothing: what the system says.
[[nodiscard]] std::optional<std::uint64_t>& spaceLeft();

} // namespace cocoa_host
