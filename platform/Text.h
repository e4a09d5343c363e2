// Questions about Unicode text that a table must answer: letter case, user-perceived characters,
// letters and numbers. Pure functions, any thread, independent of the user's locale; the system's
// own text library answers (ICU or CoreFoundation), so that the edition of Unicode is the system's.
// Text is UTF-8; what is not well-formed in it reads as U+FFFD (see wellFormedUtf8), and what is
// returned is always well-formed. Throws std::length_error for a text of more than 1 GiB. Trimming
// and the questions about bytes are in platform/Utf8.h.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

// Full case mapping (Unicode 15.0, section 3.13): the length may change, "ß" becomes "SS".
[[nodiscard]] std::string upperCased(std::string_view text);
[[nodiscard]] std::string lowerCased(std::string_view text);

// Extended grapheme clusters (UAX #29), what a user takes for one character: a letter with its
// accents, an emoji family, a flag, a Hangul syllable, CR LF.
[[nodiscard]] std::size_t characterCount(std::string_view text);
// The first `count` of them; the whole text if it has no more.
[[nodiscard]] std::string characterPrefix(std::string_view text, std::size_t count);

// Every user-perceived character that is neither a letter nor a number becomes `replacement`. Its
// first code point decides, by general category: L* or N*.
[[nodiscard]] std::string replacingNonAlphanumerics(std::string_view text, char replacement);

} // namespace platform
