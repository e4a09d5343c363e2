// Standard base64 (RFC 4648, section 4) read strictly: the alphabet with "+" and "/", complete
// groups of four, padding where it belongs, no white space. Bits of the last character that belong
// to no byte are ignored. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace platform {

// Nothing when the text is not base64; no bytes for no text.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> decodeBase64(std::string_view text);

} // namespace platform
