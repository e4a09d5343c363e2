#include "platform/DownloadName.h"

#include "platform/Utf8.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace platform {
namespace {

constexpr std::size_t longest = 200; // bytes; room is left for what a system adds
constexpr std::size_t longestExtension = 16;

// U+200E, U+200F, U+202A to U+202E and U+2066 to U+2069, and the line ends U+2028 and U+2029.
bool isUnseenMark(std::string_view character) {
    constexpr std::array<std::string_view, 13> marks{
        "\xE2\x80\x8E", "\xE2\x80\x8F", "\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAA",
        "\xE2\x80\xAB", "\xE2\x80\xAC", "\xE2\x80\xAD", "\xE2\x80\xAE", "\xE2\x81\xA6",
        "\xE2\x81\xA7", "\xE2\x81\xA8", "\xE2\x81\xA9"};
    return std::ranges::find(marks, character) != marks.end();
}

bool isControl(std::string_view character) {
    if (character.size() == 1) {
        const auto byte = static_cast<unsigned char>(character.front());
        return byte < 0x20 || byte == 0x7F;
    }
    return character.size() == 2 && character.front() == '\xC2' &&
           static_cast<unsigned char>(character.back()) < 0xA0;
}

std::string withoutUnseen(std::string_view text) {
    std::string seen;
    while (!text.empty()) {
        const std::size_t length = std::max<std::size_t>(utf8CharacterLength(text), 1);
        const std::string_view character = text.substr(0, length);
        if (!isControl(character) && !isUnseenMark(character)) {
            seen += character;
        }
        text.remove_prefix(length);
    }
    return seen;
}

std::string_view withoutEnds(std::string_view name) {
    const std::size_t first = name.find_first_not_of(". ");
    if (first == std::string_view::npos) {
        return {};
    }
    return name.substr(first, name.find_last_not_of(". ") + 1 - first);
}

std::string shortened(std::string_view name) {
    if (name.size() <= longest) {
        return std::string(name);
    }
    const std::size_t dot = name.rfind('.');
    const std::string_view extension =
        dot == std::string_view::npos || name.size() - dot > longestExtension ? std::string_view()
                                                                              : name.substr(dot);
    return std::string(prefixOfWholeCharacters(name, longest - extension.size())) +
           std::string(extension);
}

} // namespace

std::string downloadName(std::string_view suggested) {
    const std::string seen = withoutUnseen(wellFormedUtf8(suggested));
    std::string_view name = seen;
    if (const std::size_t folder = name.find_last_of("/\\"); folder != std::string_view::npos) {
        name.remove_prefix(folder + 1);
    }
    name = withoutEnds(name);
    return name.empty() ? "download" : shortened(name);
}

} // namespace platform
