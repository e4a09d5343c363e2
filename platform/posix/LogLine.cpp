#include "platform/posix/LogLine.h"

#include "platform/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace platform::posix {
namespace {

constexpr std::uint64_t everyByte = 0x0101010101010101U;
constexpr std::uint64_t highBits = everyByte * 0x80;

// True when all eight bytes are printable ASCII, three operations a test for all of them at once.
bool allPrintable(std::uint64_t bytes) {
    const std::uint64_t belowSpace = (bytes - everyByte * ' ') & ~bytes;
    const std::uint64_t deletes = bytes + everyByte; // 0x7F becomes 0x80
    return ((bytes | belowSpace | deletes) & highBits) == 0;
}

std::size_t printablePrefix(std::string_view text) {
    constexpr std::size_t stride = sizeof(std::uint64_t);
    std::size_t at = 0;
    while (at < text.size()) {
        std::uint64_t bytes = 0;
        if (text.size() - at >= stride) {
            std::memcpy(&bytes, text.data() + at, stride);
            if (allPrintable(bytes)) {
                at += stride;
                continue;
            }
        }
        for (const std::size_t end = std::min(at + stride, text.size()); at < end; ++at) {
            if (!isPrintable(text[at])) {
                return at;
            }
        }
    }
    return at;
}

bool isEightBitControl(std::string_view character) {
    return character.size() == 2 && character[0] == '\xC2' &&
           static_cast<unsigned char>(character[1]) < 0xA0;
}

// The piece of text that is judged as a whole, and whether it passes unchanged.
struct Piece {
    std::string_view bytes;
    bool passes = true;
};

Piece nextPiece(std::string_view text) {
    if (const std::size_t printable = printablePrefix(text); printable > 0) {
        return {.bytes = text.substr(0, printable)};
    }
    if (static_cast<unsigned char>(text.front()) < 0x80) {
        return {.bytes = text.substr(0, 1), .passes = false};
    }
    const std::size_t length = utf8CharacterLength(text);
    const auto character = text.substr(0, std::max<std::size_t>(length, 1));
    return {.bytes = character, .passes = length > 0 && !isEightBitControl(character)};
}

char* appendHex(char* out, char byte) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    *out++ = '\\';
    *out++ = 'x';
    *out++ = digits[value >> 4];
    *out++ = digits[value & 0x0F];
    return out;
}

} // namespace

char* appendEscapedPieces(char* out, std::string_view text) {
    while (!text.empty()) {
        const Piece piece = nextPiece(text);
        if (piece.passes) {
            std::memcpy(out, piece.bytes.data(), piece.bytes.size());
            out += piece.bytes.size();
        } else {
            for (const char byte : piece.bytes) {
                out = appendHex(out, byte);
            }
        }
        text.remove_prefix(piece.bytes.size());
    }
    return out;
}

std::size_t escapedSize(std::string_view text) {
    std::size_t size = 0;
    while (!text.empty()) {
        const Piece piece = nextPiece(text);
        size += piece.bytes.size() * (piece.passes ? 1 : longestEscape);
        text.remove_prefix(piece.bytes.size());
    }
    return size;
}

} // namespace platform::posix
