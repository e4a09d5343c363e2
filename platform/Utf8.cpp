#include "platform/Utf8.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace platform {
namespace {

std::uint8_t byteAt(std::string_view text, std::size_t index) {
    return static_cast<std::uint8_t>(text[index]);
}

bool isContinuation(std::uint8_t byte) {
    return (byte & 0xC0U) == 0x80U;
}

// Length of the leading run of ASCII characters, eight at a time.
std::size_t asciiRun(std::string_view text) {
    constexpr std::uint64_t highBits = 0x8080808080808080U;
    std::size_t index = 0;
    while (index + sizeof(std::uint64_t) <= text.size()) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + index, sizeof word);
        if ((word & highBits) != 0) {
            break;
        }
        index += sizeof word;
    }
    while (index < text.size() && byteAt(text, index) < 0x80U) {
        ++index;
    }
    return index;
}

// Length of the well-formed multi-byte sequence at the start of the text, or 0 (RFC 3629,
// section 4: the second byte's range depends on the first).
std::size_t sequenceLength(std::string_view text) {
    const std::uint8_t lead = byteAt(text, 0);
    std::size_t length = 0;
    std::uint8_t low = 0x80U;
    std::uint8_t high = 0xBFU;
    if (lead >= 0xC2U && lead <= 0xDFU) {
        length = 2;
    } else if (lead >= 0xE0U && lead <= 0xEFU) {
        length = 3;
        low = lead == 0xE0U ? 0xA0U : low;
        high = lead == 0xEDU ? 0x9FU : high;
    } else if (lead >= 0xF0U && lead <= 0xF4U) {
        length = 4;
        low = lead == 0xF0U ? 0x90U : low;
        high = lead == 0xF4U ? 0x8FU : high;
    }
    if (length == 0 || text.size() < length) {
        return 0;
    }
    if (byteAt(text, 1) < low || byteAt(text, 1) > high) {
        return 0;
    }
    for (std::size_t index = 2; index < length; ++index) {
        if (!isContinuation(byteAt(text, index))) {
            return 0;
        }
    }
    return length;
}

constexpr std::array<std::string_view, 26> whiteSpace{
    " ",      "\t",     "\n",     "\v",     "\f",     "\r",     "\u0085", "\u00A0", "\u1680",
    "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
    "\u2009", "\u200A", "\u200B", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000",
};

} // namespace

std::size_t utf8CharacterLength(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    return byteAt(text, 0) < 0x80U ? 1 : sequenceLength(text);
}

bool isValidUtf8(std::string_view bytes) {
    while (true) {
        bytes.remove_prefix(asciiRun(bytes));
        if (bytes.empty()) {
            return true;
        }
        const std::size_t length = sequenceLength(bytes);
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
}

std::string_view trimmed(std::string_view text) {
    const auto removeOne = [](auto matches, auto remove) {
        for (const std::string_view space : whiteSpace) {
            if (matches(space)) {
                remove(space.size());
                return true;
            }
        }
        return false;
    };
    while (removeOne([&](std::string_view space) { return text.starts_with(space); },
                     [&](std::size_t length) { text.remove_prefix(length); })) {
    }
    while (removeOne([&](std::string_view space) { return text.ends_with(space); },
                     [&](std::size_t length) { text.remove_suffix(length); })) {
    }
    return text;
}

std::string_view prefixOfWholeCharacters(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) {
        return text;
    }
    std::size_t end = limit;
    while (end > 0 && isContinuation(byteAt(text, end))) {
        --end;
    }
    return text.substr(0, end);
}

} // namespace platform
