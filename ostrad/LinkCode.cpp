#include "ostrad/LinkCode.h"

namespace ostrad {
namespace {

// Nothing that reads like something else: no I, O, 0, 1.
constexpr std::string_view kLetters = "ABCDEFGHJKLMNPQRSTUVWXYZ";
constexpr std::string_view kDigits = "23456789";
constexpr int kHalf = 4;

std::string bare(std::string_view code) {
    std::string text;
    for (const char c : code) {
        if (c != '-' && c != ' ') {
            text += c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
        }
    }
    return text;
}

} // namespace

std::string newLinkCode(const RandomBelow& random) {
    std::string code;
    for (int i = 0; i < kHalf; ++i) {
        code += kLetters[random(kLetters.size())];
    }
    code += '-';
    for (int i = 0; i < kHalf; ++i) {
        code += kDigits[random(kDigits.size())];
    }
    return code;
}

bool sameLinkCode(std::string_view a, std::string_view b) {
    return bare(a) == bare(b);
}

} // namespace ostrad
