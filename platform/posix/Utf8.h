// Well-formed UTF-8 (RFC 3629): shortest forms, no surrogates, nothing above U+10FFFF.
#pragma once

#include <cstddef>
#include <string_view>

namespace platform::posix {

// The length of the encoded character that `text` begins with, 1 to 4; 0 when its first byte does
// not begin a well-formed one. `text` is not empty.
[[nodiscard]] std::size_t utf8CharacterLength(std::string_view text);

[[nodiscard]] bool isUtf8(std::string_view text);

} // namespace platform::posix
