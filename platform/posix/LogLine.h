// How a log line is made fit for a terminal. Control characters other than tab, and bytes that
// are not part of well-formed UTF-8, are written as \x and two hexadecimal digits, so that a line
// stays one line and text from elsewhere cannot drive the user's terminal: line feeds, escape
// sequences and the 8-bit controls U+0080 to U+009F included. Everything else passes unchanged;
// a backslash is not doubled. Pure functions; any thread.
#pragma once

#include <cstddef>
#include <string_view>

namespace platform::posix {

// No byte becomes more than this many.
inline constexpr std::size_t longestEscape = 4;

[[nodiscard]] constexpr bool isPrintable(char byte) {
    return (byte >= ' ' && byte < '\x7F') || byte == '\t';
}

// As appendEscaped(), which is the one to call.
char* appendEscapedPieces(char* out, std::string_view text);

// Writes the escaped text to `out`, which has room for longestEscape * text.size() bytes, and
// returns the end of what was written.
inline char* appendEscaped(char* out, std::string_view text) {
    // Most of what is as short as this passes, and a call would cost more than the bytes.
    constexpr std::size_t few = 8;
    if (text.size() < few) {
        while (!text.empty() && isPrintable(text.front())) {
            *out++ = text.front();
            text.remove_prefix(1);
        }
    }
    return text.empty() ? out : appendEscapedPieces(out, text);
}

// The number of bytes that appendEscaped would write.
[[nodiscard]] std::size_t escapedSize(std::string_view text);

} // namespace platform::posix
