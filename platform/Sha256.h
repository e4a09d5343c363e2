// SHA-256 (FIPS 180-4) by the system's crypto library. A pure function; any thread; it never
// fails.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace platform {

// The digest's bytes in their usual order.
using Sha256Digest = std::array<std::uint8_t, 32>;

// The digest of these bytes, none included.
[[nodiscard]] Sha256Digest sha256(std::string_view bytes);

} // namespace platform
