#include "platform/Utf8.h"
#include "tools/tessel/Output.h"

#include <cstdint>

namespace tool {
namespace {

// Of a well-formed character.
std::uint32_t codePointOf(std::string_view character) {
    constexpr unsigned continuationBits = 6;
    const auto first = static_cast<unsigned char>(character.front());
    if (character.size() == 1) {
        return first;
    }
    std::uint32_t value = first & (0x7FU >> character.size());
    for (const char c : character.substr(1)) {
        value = (value << continuationBits) | (static_cast<unsigned char>(c) & 0x3FU);
    }
    return value;
}

// What a terminal obeys instead of showing it, and what shows nothing or turns what follows.
bool isSeen(std::uint32_t c) {
    const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0);
    const bool isMark = c == 0x061C || (c >= 0x200B && c <= 0x200F) ||
                        (c >= 0x2028 && c <= 0x202E) || (c >= 0x2060 && c <= 0x206F) || c == 0xFEFF;
    return !isControl && !isMark;
}

std::string escapeOf(std::uint32_t c) {
    switch (c) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return c < 0x80 ? fmt::format("\\x{:02x}", c) : fmt::format("\\u{:04x}", c);
    }
}

} // namespace

std::string visible(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t length = platform::utf8CharacterLength(text);
        if (length == 0) {
            result += fmt::format("\\x{:02x}", static_cast<unsigned char>(text.front()));
            text.remove_prefix(1);
            continue;
        }
        const auto character = text.substr(0, length);
        const std::uint32_t codePoint = codePointOf(character);
        result += isSeen(codePoint) ? std::string(character) : escapeOf(codePoint);
        text.remove_prefix(length);
    }
    return result;
}

} // namespace tool
