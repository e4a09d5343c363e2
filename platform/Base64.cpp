#include "platform/Base64.h"

#include <cstddef>

namespace platform {
namespace {

std::optional<std::uint32_t> sixBitsOf(char c) {
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto position = alphabet.find(c);
    return position == std::string_view::npos ? std::nullopt
                                              : std::optional(static_cast<std::uint32_t>(position));
}

// Three bytes in the low 24 bits, from four characters of which the last `padding` are "=".
std::optional<std::uint32_t> decodeGroup(std::string_view group, std::size_t padding) {
    std::uint32_t bits = 0;
    for (const char c : group.substr(0, group.size() - padding)) {
        const auto value = sixBitsOf(c);
        if (!value) {
            return std::nullopt;
        }
        bits = bits << 6 | *value;
    }
    return bits << 6 * padding;
}

} // namespace

std::optional<std::vector<std::uint8_t>> decodeBase64(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() / 4 * 3);
    for (; !text.empty(); text.remove_prefix(4)) {
        const auto group = text.substr(0, 4);
        const bool isLast = text.size() == 4;
        const std::size_t padding = !isLast                   ? 0
                                    : group.substr(2) == "==" ? 2
                                    : group.back() == '='     ? 1
                                                              : 0;
        const auto bits = decodeGroup(group, padding);
        if (!bits) {
            return std::nullopt;
        }
        for (std::size_t i = 0; i < 3 - padding; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(*bits >> (16 - 8 * i) & 0xFF));
        }
    }
    return bytes;
}

} // namespace platform
