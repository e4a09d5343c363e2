// Small questions about UTF-8 text (RFC 3629). Pure functions; any thread; nothing is thrown.
#pragma once

#include <cstddef>
#include <string_view>

namespace platform {

// Whether the bytes are well-formed UTF-8: no overlong form, no surrogate, nothing above U+10FFFF.
[[nodiscard]] bool isValidUtf8(std::string_view bytes);

// The length of the well-formed character that `text` begins with, 1 to 4; 0 when there is none.
[[nodiscard]] std::size_t utf8CharacterLength(std::string_view text);

// Without white space and line ends (Unicode's White_Space property, and U+200B) at both ends.
// The text must be well-formed UTF-8.
[[nodiscard]] std::string_view trimmed(std::string_view text);

// The longest prefix of at most `limit` bytes that does not end inside a character.
[[nodiscard]] std::string_view prefixOfWholeCharacters(std::string_view text, std::size_t limit);

} // namespace platform
