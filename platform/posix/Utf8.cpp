#include "platform/posix/Utf8.h"

namespace platform::posix {
namespace {

struct Shape {
    std::size_t length = 0;
    unsigned char secondFrom = 0x80;
    unsigned char secondTo = 0xBF;
};

Shape shapeAfter(unsigned char lead) {
    if (lead < 0x80) {
        return {.length = 1};
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return {.length = 2};
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        return {.length = 3,
                .secondFrom = static_cast<unsigned char>(lead == 0xE0 ? 0xA0 : 0x80),
                .secondTo = static_cast<unsigned char>(lead == 0xED ? 0x9F : 0xBF)};
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        return {.length = 4,
                .secondFrom = static_cast<unsigned char>(lead == 0xF0 ? 0x90 : 0x80),
                .secondTo = static_cast<unsigned char>(lead == 0xF4 ? 0x8F : 0xBF)};
    }
    return {};
}

} // namespace

std::size_t utf8CharacterLength(std::string_view text) {
    const Shape shape = shapeAfter(static_cast<unsigned char>(text.front()));
    if (text.size() < shape.length) {
        return 0;
    }
    for (std::size_t i = 1; i < shape.length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool second = i == 1;
        if (byte < (second ? shape.secondFrom : 0x80) || byte > (second ? shape.secondTo : 0xBF)) {
            return 0;
        }
    }
    return shape.length;
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = utf8CharacterLength(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

} // namespace platform::posix
