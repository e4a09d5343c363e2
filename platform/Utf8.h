// Small questions about UTF-8 text (RFC 3629). Pure functions; any thread; nothing is thrown.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

// Whether the bytes are well-formed UTF-8: no overlong form, no surrogate, nothing above U+10FFFF.
[[nodiscard]] bool isValidUtf8(std::string_view bytes);

// The length of the well-formed character that `text` begins with, 1 to 4; 0 when there is none.
[[nodiscard]] std::size_t utf8CharacterLength(std::string_view text);

// The text with U+FFFD in the place of what is not well-formed, one for each sequence that breaks
// off and for each byte that begins none (Unicode 15.0, section 3.9, "substitution of maximal
// subparts").
[[nodiscard]] std::string wellFormedUtf8(std::string_view bytes);

// Without white space and line ends (Unicode's White_Space property, and U+200B) at both ends.
// Bytes that are not UTF-8 are left alone.
[[nodiscard]] std::string_view trimmed(std::string_view text);

// The longest prefix of at most `limit` bytes that does not end inside a character.
[[nodiscard]] std::string_view prefixOfWholeCharacters(std::string_view text, std::size_t limit);

} // namespace platform
