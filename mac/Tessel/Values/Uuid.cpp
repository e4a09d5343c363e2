#include "mac/Tessel/Values/Uuid.h"

#include <array>
#include <cstddef>

namespace tessel {
namespace {

constexpr std::string_view digits = "0123456789ABCDEF";
constexpr std::string_view variantDigits = "89AB";
constexpr std::size_t length = 36;
constexpr std::size_t versionAt = 14;
constexpr std::size_t variantAt = 19;

constexpr bool isDashAt(std::size_t position) {
    return position == 8 || position == 13 || position == 18 || position == 23;
}

} // namespace

std::optional<std::string> randomUuid(platform::RandomSource& random) {
    std::array<std::byte, 16> bytes{};
    if (!random.fill(bytes)) {
        return std::nullopt;
    }
    bytes[6] = (bytes[6] & std::byte{0x0F}) | std::byte{0x40};
    bytes[8] = (bytes[8] & std::byte{0x3F}) | std::byte{0x80};
    std::string text;
    text.reserve(length);
    for (const std::byte byte : bytes) {
        if (isDashAt(text.size())) {
            text += '-';
        }
        text += digits[std::to_integer<std::size_t>(byte >> 4)];
        text += digits[std::to_integer<std::size_t>(byte & std::byte{0x0F})];
    }
    return text;
}

bool isRandomUuid(std::string_view text) {
    if (text.size() != length || text[versionAt] != '4' ||
        !variantDigits.contains(text[variantAt])) {
        return false;
    }
    for (std::size_t position = 0; position < length; ++position) {
        if (isDashAt(position) ? text[position] != '-' : !digits.contains(text[position])) {
            return false;
        }
    }
    return true;
}

} // namespace tessel
