#include "mac/Tessel/Health/AppHealthSchema.h"

#include "mac/Tessel/Json/EightBytes.h"
#include "mac/Tessel/Values/Timestamp.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace tessel {
namespace {

using eightBytes::bytesBetween;
using eightBytes::everyMark;
using eightBytes::load;
using eightBytes::repeat;

enum Class : std::uint8_t { none = 0, lower = 1, upper = 2, digit = 4, separator = 8 };

// What each byte is; a table because metric keys make up most of a large report.
constexpr auto classes = [] {
    std::array<std::uint8_t, std::numeric_limits<unsigned char>::max() + 1> table{};
    for (unsigned char byte = 'a'; byte <= 'z'; ++byte) {
        table[byte] = lower;
    }
    for (unsigned char byte = 'A'; byte <= 'Z'; ++byte) {
        table[byte] = upper;
    }
    for (unsigned char byte = '0'; byte <= '9'; ++byte) {
        table[byte] = digit;
    }
    for (const char character : {'-', '.', '_'}) {
        table[static_cast<unsigned char>(character)] = separator;
    }
    return table;
}();

bool isOneOf(char character, unsigned wanted) {
    return (classes[static_cast<unsigned char>(character)] & wanted) != 0;
}

bool isDigit(char character) {
    return isOneOf(character, digit);
}

constexpr unsigned stableLetters = lower | digit;
constexpr unsigned metricLetters = lower | upper | digit;

// Which bytes of a name are what, as marks.
template <unsigned letters>
struct NameMarks {
    explicit NameMarks(std::uint64_t word)
        : separators(bytesBetween(word, '-', '.') | bytesBetween(word, '_', '_'))
        , others(~separators & everyMark & ~bytesBetween(word, '0', '9') &
                 ~bytesBetween((letters & upper) != 0 ? word | repeat(0x20) : word, 'a', 'z')) {
        others |= word & everyMark; // not ASCII
    }

    std::uint64_t separators;
    std::uint64_t others;
};

// The same as isSeparatedName(), for 8 bytes and more.
template <unsigned letters>
bool isLongSeparatedName(std::string_view text) {
    std::uint64_t wrong = 0;
    std::uint64_t before = everyMark; // a separator in front of it all
    const auto check = [&](std::size_t start) {
        const NameMarks<letters> marks(load(text.data() + start));
        const std::uint64_t shifted = marks.separators << 8 | before >> 56;
        wrong |= marks.others | (marks.separators & shifted);
        before = marks.separators;
    };
    const std::size_t last = text.size() - 8;
    for (std::size_t start = 0; start < last; start += 8) {
        check(start);
    }
    // The last eight bytes, whether or not some of them have been seen.
    before = last == 0 ? everyMark : std::uint64_t{isOneOf(text[last - 1], separator)} << 63;
    check(last);
    return wrong == 0;
}

// 1 to 80 bytes: characters of `letters` with single separators between them.
template <unsigned letters>
bool isSeparatedName(std::string_view text) {
    if (text.empty() || text.size() > 80 || isOneOf(text.back(), separator)) {
        return false;
    }
    if (text.size() >= 8) {
        return isLongSeparatedName<letters>(text);
    }
    bool separatorBefore = true;
    for (const char character : text) {
        const bool isSeparator = isOneOf(character, separator);
        if (isSeparator ? separatorBefore : !isOneOf(character, letters)) {
            return false;
        }
        separatorBefore = isSeparator;
    }
    return true;
}

bool isFileStem(std::string_view text) {
    if (text.empty() || text.size() > 64) {
        return false;
    }
    for (const char character : text) {
        if (!isOneOf(character, lower | upper | digit | separator) && character != '+' &&
            character != ':') {
            return false;
        }
    }
    return true;
}

// Removes `prefix` and the "/" behind it.
bool takePart(std::string_view& rest, std::string_view prefix) {
    if (!rest.starts_with(prefix) || !rest.substr(prefix.size()).starts_with('/')) {
        return false;
    }
    rest.remove_prefix(prefix.size() + 1);
    return true;
}

} // namespace

bool AppHealthSchema::validApp(std::string_view text) {
    if (text.empty() || text.size() > 39 || !isOneOf(text.front(), lower | digit)) {
        return false;
    }
    for (const char character : text) {
        if (!isOneOf(character, lower | digit) && character != '_' && character != '-') {
            return false;
        }
    }
    return true;
}

bool AppHealthSchema::validStableID(std::string_view text) {
    return isSeparatedName<stableLetters>(text);
}

bool AppHealthSchema::validMetricKey(std::string_view text) {
    return isSeparatedName<metricLetters>(text);
}

bool AppHealthSchema::validBoundedIdentity(std::string_view text, std::size_t maximum,
                                           std::string_view punctuation) {
    constexpr unsigned letters = lower | upper | digit;
    if (text.empty() || text.size() > maximum || !isOneOf(text.front(), letters)) {
        return false;
    }
    for (const char character : text) {
        if (!isOneOf(character, letters) && punctuation.find(character) == std::string_view::npos) {
            return false;
        }
    }
    return true;
}

bool AppHealthSchema::validVersion(std::string_view text) {
    return validBoundedIdentity(text, 80, ".+_-");
}

bool AppHealthSchema::validBuild(std::string_view text) {
    return validBoundedIdentity(text, 64, "._-");
}

bool AppHealthSchema::validSourceCommit(std::string_view text) {
    return validBoundedIdentity(text, 128, "._-");
}

bool AppHealthSchema::validTimestampShape(std::string_view text) {
    constexpr std::string_view shape = "dddd-dd-ddTdd:dd:dd";
    if (text.size() != 20 && (text.size() < 22 || text.size() > 30)) {
        return false;
    }
    for (std::size_t index = 0; index < shape.size(); ++index) {
        if (shape[index] == 'd' ? !isDigit(text[index]) : text[index] != shape[index]) {
            return false;
        }
    }
    if (text.back() != 'Z' || (text.size() > 20 && text[19] != '.')) {
        return false;
    }
    for (std::size_t index = 20; index + 1 < text.size(); ++index) {
        if (!isDigit(text[index])) {
            return false;
        }
    }
    return true;
}

bool AppHealthSchema::validTimestamp(std::string_view text) {
    return validTimestampShape(text) && parseTimestamp(text).has_value();
}

bool AppHealthSchema::validLogKey(std::string_view key, std::string_view app,
                                  std::string_view build) {
    constexpr std::string_view extension = ".json";
    // A valid application or build holds no "/", so the parts cannot run into each other.
    if (!validApp(app) || !validBuild(build) || !takePart(key, "health") || !takePart(key, app) ||
        !takePart(key, build) || !key.ends_with(extension)) {
        return false;
    }
    key.remove_suffix(extension.size());
    return isFileStem(key);
}

bool AppHealthSchema::validWholeNumber(double number) {
    return validMetricValue(number) && number >= 0 && std::trunc(number) == number;
}

} // namespace tessel
