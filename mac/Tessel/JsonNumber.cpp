#include "mac/Tessel/JsonNumber.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <system_error>

namespace tessel {
namespace {

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

constexpr auto powersOfTen = [] {
    std::array<std::uint64_t, 20> powers{1};
    for (std::size_t power = 1; power < powers.size(); ++power) {
        powers[power] = powers[power - 1] * 10;
    }
    return powers;
}();

constexpr std::uint64_t everyByte(unsigned char byte) {
    return 0x0101010101010101U * byte;
}

// The beginning of a text as eight bytes, the first one lowest.
std::uint64_t load(const char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    static_assert(std::endian::native == std::endian::little);
    return word;
}

// How many of the eight characters are digits, up to the first other one.
std::size_t leadingDigits(std::uint64_t word) {
    const std::uint64_t values = word ^ everyByte('0');
    const std::uint64_t others = ((values + everyByte(0x76)) | values) & everyByte(0x80);
    return static_cast<std::size_t>(std::countr_zero(others)) / 8;
}

// The number that eight digits are: neighbours joined, three times.
std::uint64_t valueOfEight(std::uint64_t word) {
    word -= everyByte('0');
    word = (word * 10 + (word >> 8)) & 0x00FF00FF00FF00FFU;
    word = (word * 100 + (word >> 16)) & 0x0000FFFF0000FFFFU;
    return (word * 10'000 + (word >> 32)) & 0x00000000FFFFFFFFU;
}

// The digits of a number as a whole number and a power of ten, as far as they fit.
struct Decimal {
    std::uint64_t digits = 0;
    std::size_t digitCount = 0; // or a few more; leading zeros do not count
    std::int64_t exponent = 0;
    bool negative = false;

    void add(std::uint64_t value, std::size_t count) {
        digitCount += digits > 0 || digitCount > 0 || value > 0 ? count : 0;
        digits = digits * powersOfTen[count] + value;
    }
};

// Reads the grammar's parts one after the other; `cursor` is behind the last one read.
class Scanner {
  public:
    explicit Scanner(std::string_view text)
        : cursor(text.data())
        , end_(text.data() + text.size()) {}

    bool scan() {
        decimal.negative = accept('-');
        if (!accept('0') && !digits()) {
            return false;
        }
        const char* const point = cursor;
        if (accept('.')) {
            if (!digits()) {
                return false;
            }
            decimal.exponent = point + 1 - cursor;
        }
        return !(accept('e') || accept('E')) || exponent();
    }

    Decimal decimal;
    const char* cursor;

  private:
    bool accept(char wanted) {
        const bool found = cursor != end_ && *cursor == wanted;
        cursor += found ? 1 : 0;
        return found;
    }

    bool digits() {
        const char* const start = cursor;
        while (end_ - cursor >= 8) {
            const std::uint64_t word = load(cursor);
            const std::size_t count = leadingDigits(word);
            if (count == 0) {
                return cursor != start;
            }
            // Moved up behind as many zeros as there are other characters.
            const std::size_t zeros = 64 - 8 * count;
            decimal.add(
                valueOfEight(count == 8 ? word : word << zeros | everyByte('0') >> 8 * count),
                count);
            cursor += count;
        }
        for (; cursor != end_ && isDigit(*cursor); ++cursor) {
            decimal.add(static_cast<std::uint64_t>(*cursor - '0'), 1);
        }
        return cursor != start;
    }

    bool exponent() {
        // Beyond this no number of digits that fits into memory makes up for it.
        constexpr std::int64_t enough = 1'000'000'000'000'000;
        const bool below = accept('-');
        if (!below) {
            accept('+');
        }
        const char* const start = cursor;
        std::int64_t value = 0;
        for (; cursor != end_ && isDigit(*cursor); ++cursor) {
            value = std::min(value * 10 + (*cursor - '0'), enough);
        }
        decimal.exponent += below ? -value : value;
        return cursor != start;
    }

    const char* end_;
};

// Both the digits and the power of ten are doubles exactly, so one rounding is all there is.
bool isExact(const Decimal& decimal) {
    return decimal.digitCount <= 19 && decimal.digits <= (std::uint64_t{1} << 53) &&
           decimal.exponent >= -22 && decimal.exponent <= 22;
}

double exactValue(const Decimal& decimal) {
    constexpr std::array<double, 23> powers{1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                            1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                            1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    const auto digits = static_cast<double>(decimal.digits);
    const double value = decimal.exponent < 0
                             ? digits / powers[static_cast<std::size_t>(-decimal.exponent)]
                             : digits * powers[static_cast<std::size_t>(decimal.exponent)];
    return decimal.negative ? -value : value;
}

__extension__ using Wide = unsigned __int128;

// Few enough digits, and a divisor that fits into one word: one division leaves 62 bits or more and
// a remainder that only matters for whether it is zero.
bool isQuotient(const Decimal& decimal) {
    return decimal.digitCount <= 19 && decimal.digits > 0 && decimal.exponent >= -19 &&
           decimal.exponent < 0;
}

double quotient(const Decimal& decimal) {
    const std::uint64_t divisor = powersOfTen[static_cast<std::size_t>(-decimal.exponent)];
    const int digitShift = std::countl_zero(decimal.digits);
    const int divisorShift = std::countl_zero(divisor);
    const Wide dividend = Wide{decimal.digits << digitShift} << 63;
    const std::uint64_t normalised = divisor << divisorShift;
    const auto whole = static_cast<std::uint64_t>(dividend / normalised);
    const bool rest = dividend != Wide{whole} * normalised;
    // Rounded once, here; multiplying by the power of two is exact.
    const auto rounded = static_cast<double>(whole | (rest ? 1U : 0U));
    const auto power = static_cast<std::uint64_t>(1023 + divisorShift - digitShift - 63);
    const double value = rounded * std::bit_cast<double>(power << 52);
    return decimal.negative ? -value : value;
}

template <class Number>
concept HasFromChars =
    requires(const char* text, Number& number) { std::from_chars(text, text, number); };

template <class Number>
std::optional<Number> convert(std::string_view number) {
    if constexpr (HasFromChars<Number>) {
        Number value{};
        const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
        if (result.ec == std::errc() && std::isfinite(value)) {
            return value;
        }
        // Too large or too small: the standard library does not say which.
    }
    return JsonNumber::readSlowly(number);
}

} // namespace

std::optional<JsonNumber> JsonNumber::read(std::string_view text) {
    Scanner scanner(text);
    if (!scanner.scan()) {
        return std::nullopt;
    }
    if (isExact(scanner.decimal)) {
        return JsonNumber{exactValue(scanner.decimal), scanner.cursor};
    }
    if (isQuotient(scanner.decimal)) {
        return JsonNumber{quotient(scanner.decimal), scanner.cursor};
    }
    const auto length = static_cast<std::size_t>(scanner.cursor - text.data());
    const auto value = convert<double>(text.substr(0, length));
    return value ? std::optional(JsonNumber{*value, scanner.cursor}) : std::nullopt;
}

std::optional<double> JsonNumber::readSlowly(std::string_view number) {
    Scanner scanner(number);
    if (!scanner.scan()) {
        return std::nullopt;
    }
    // The decimal point is the only thing strtod reads by the locale: without it, digits and a
    // power of ten.
    std::string digits;
    const std::size_t mantissa = std::min(number.find_first_of("eE"), number.size());
    std::ranges::copy_if(number.substr(0, mantissa), std::back_inserter(digits), isDigit);
    digits.erase(0, digits.find_first_not_of('0'));
    if (digits.empty()) {
        return scanner.decimal.negative ? -0.0 : 0.0;
    }
    const std::string text = fmt::format("{}{}e{}", scanner.decimal.negative ? "-" : "", digits,
                                         scanner.decimal.exponent);
    const double value = std::strtod(text.c_str(), nullptr);
    return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

} // namespace tessel
