// What platform/Text.h asks of a system's text library; nothing else includes this. Every text
// handed in is well-formed UTF-8 of at most 1 GiB. Any thread. One implementation a system:
// platform/linux/text and platform/cocoa/text.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace platform::tables {

[[nodiscard]] std::string upperCased(std::string_view text);
[[nodiscard]] std::string lowerCased(std::string_view text);

// General category L* or N*.
[[nodiscard]] bool isLetterOrNumber(char32_t codePoint);

// Hands out the extended grapheme clusters in order, until `visit` returns false.
void visitCharacters(std::string_view text, const std::function<bool(std::string_view)>& visit);

} // namespace platform::tables
