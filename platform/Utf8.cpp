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

// Whether as many bytes, a multiple of eight, are ASCII.
template <std::size_t count>
bool areAscii(const char* bytes) {
    constexpr std::uint64_t highBits = 0x8080808080808080U;
    std::uint64_t all = 0;
    for (std::size_t index = 0; index < count; index += sizeof all) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes + index, sizeof word);
        all |= word;
    }
    return (all & highBits) == 0;
}

// Length of the leading run of ASCII characters, many at a time.
std::size_t asciiRun(std::string_view text) {
    std::size_t index = 0;
    while (index + 32 <= text.size() && areAscii<32>(text.data() + index)) {
        index += 32;
    }
    while (index + 8 <= text.size() && areAscii<8>(text.data() + index)) {
        index += 8;
    }
    while (index < text.size() && byteAt(text, index) < 0x80U) {
        ++index;
    }
    return index;
}

// What a lead byte promises: the length of its sequence, 0 for a byte that leads none, and the
// range of the second byte (RFC 3629, section 4). All later bytes are plain continuations.
struct Lead {
    std::size_t length = 0;
    std::uint8_t low = 0x80U;
    std::uint8_t high = 0xBFU;

    [[nodiscard]] bool takes(std::uint8_t byte, std::size_t index) const {
        return index == 1 ? byte >= low && byte <= high : isContinuation(byte);
    }
};

Lead leadOf(std::uint8_t byte) {
    if (byte >= 0xC2U && byte <= 0xDFU) {
        return {.length = 2};
    }
    if (byte >= 0xE0U && byte <= 0xEFU) {
        return {.length = 3,
                .low = static_cast<std::uint8_t>(byte == 0xE0U ? 0xA0U : 0x80U),
                .high = static_cast<std::uint8_t>(byte == 0xEDU ? 0x9FU : 0xBFU)};
    }
    if (byte >= 0xF0U && byte <= 0xF4U) {
        return {.length = 4,
                .low = static_cast<std::uint8_t>(byte == 0xF0U ? 0x90U : 0x80U),
                .high = static_cast<std::uint8_t>(byte == 0xF4U ? 0x8FU : 0xBFU)};
    }
    return {};
}

// How many bytes at the start of the text belong to one multi-byte sequence, whole or broken off.
std::size_t sequenceBytes(std::string_view text, const Lead& lead) {
    std::size_t index = 1;
    while (index < lead.length && index < text.size() && lead.takes(byteAt(text, index), index)) {
        ++index;
    }
    return index;
}

// Length of the well-formed multi-byte sequence at the start of the text, or 0.
std::size_t sequenceLength(std::string_view text) {
    const Lead lead = leadOf(byteAt(text, 0));
    return sequenceBytes(text, lead) == lead.length ? lead.length : 0;
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

std::string wellFormedUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        std::size_t length = utf8CharacterLength(bytes);
        if (length != 0) {
            text.append(bytes.substr(0, length));
        } else {
            text += "\uFFFD";
            length = sequenceBytes(bytes, leadOf(byteAt(bytes, 0)));
        }
        bytes.remove_prefix(length);
    }
    return text;
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
