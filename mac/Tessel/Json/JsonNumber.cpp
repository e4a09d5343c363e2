#include "mac/Tessel/Json/JsonNumber.h"

#include "mac/Tessel/Json/EightBytes.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <system_error>

namespace tessel {
namespace {

using eightBytes::bytesBefore;
using eightBytes::load;
using eightBytes::repeat;

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

// How many of the eight characters are digits, up to the first other one.
std::size_t leadingDigits(std::uint64_t word) {
    const std::uint64_t values = word ^ repeat('0');
    const std::uint64_t others = ((values + repeat(0x76)) | values) & repeat(0x80);
    return bytesBefore(others);
}

// The number that eight digits are: neighbours joined, three times.
std::uint64_t valueOfEight(std::uint64_t word) {
    word -= repeat('0');
    word = (word * 10 + (word >> 8)) & 0x00FF00FF00FF00FFU;
    word = (word * 100 + (word >> 16)) & 0x0000FFFF0000FFFFU;
    return (word * 10'000 + (word >> 32)) & 0x00000000FFFFFFFFU;
}

// A number as a whole number and a power of ten. The digits are those of a whole number modulo
// 2^64: right as long as there are 19 at most.
struct Decimal {
    std::uint64_t digits = 0;
    std::int64_t digitCount = 0; // leading zeros of the fraction included
    std::int64_t exponent = 0;
    bool negative = false;
};

// Appends the digits at `at` to a number; returns the place behind them.
[[gnu::always_inline]] inline const char* takeDigits(const char* at, const char* end,
                                                     std::uint64_t& number) {
    while (end - at >= 8) {
        const std::uint64_t word = load(at);
        const std::size_t count = leadingDigits(word);
        if (count < 8) {
            // Moved up behind as many zeros as there are other characters.
            const std::size_t zeros = 56 - 8 * count;
            const std::uint64_t filled = word << 8 << zeros | repeat('0') >> 8 * count;
            number = number * powersOfTen[count] + valueOfEight(filled);
            return at + count;
        }
        number = number * powersOfTen[8] + valueOfEight(word);
        at += 8;
    }
    for (; at != end && isDigit(*at); ++at) {
        number = number * 10 + static_cast<std::uint64_t>(*at - '0');
    }
    return at;
}

struct Exponent {
    std::int64_t value = 0;
    const char* end = nullptr; // null when it is no number
};

// Reads what is behind an "e".
Exponent readExponent(const char* at, const char* end) {
    // Beyond this no number of digits that fits into memory makes up for it.
    constexpr std::int64_t enough = 1'000'000'000'000'000;
    const bool below = at != end && *at == '-';
    if (below || (at != end && *at == '+')) {
        ++at;
    }
    const char* const start = at;
    std::int64_t value = 0;
    for (; at != end && isDigit(*at); ++at) {
        value = std::min(value * 10 + (*at - '0'), enough);
    }
    return {below ? -value : value, at != start ? at : nullptr};
}

// Reads the longest number at `at`; returns the place behind it, or null when there is none.
[[gnu::always_inline]] inline const char* takeDecimal(const char* at, const char* end,
                                                      Decimal& decimal) {
    decimal.negative = at != end && *at == '-';
    at += decimal.negative ? 1 : 0;
    const char* const start = at;
    if (at != end && *at == '0') {
        ++at;
    } else {
        at = takeDigits(at, end, decimal.digits);
        if (at == start) {
            return nullptr;
        }
    }
    decimal.digitCount = at - start;
    if (at != end && *at == '.') {
        const char* const fraction = ++at;
        at = takeDigits(at, end, decimal.digits);
        if (at == fraction) {
            return nullptr;
        }
        decimal.digitCount += at - fraction;
        decimal.exponent = fraction - at;
    }
    if (at != end && (*at == 'e' || *at == 'E')) {
        const Exponent exponent = readExponent(at + 1, end);
        decimal.exponent += exponent.value;
        at = exponent.end;
    }
    return at;
}

// Both the digits and the power of ten are doubles exactly, so one rounding is all there is.
bool isExact(const Decimal& decimal) {
    return decimal.digitCount <= 19 && decimal.digits <= (std::uint64_t{1} << 53) &&
           decimal.exponent >= -22 && decimal.exponent <= 22;
}

// The nearest double of a number below 2^63: as a signed one it needs no branch.
double toDouble(std::uint64_t number) {
    return static_cast<double>(static_cast<std::int64_t>(number));
}

constexpr std::array<double, 23> exactPowersOfTen{1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                  1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                  1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

double exactValue(const Decimal& decimal) {
    const double digits = toDouble(decimal.digits);
    const double value =
        decimal.exponent < 0
            ? digits / exactPowersOfTen[static_cast<std::size_t>(-decimal.exponent)]
            : digits * exactPowersOfTen[static_cast<std::size_t>(decimal.exponent)];
    return decimal.negative ? -value : value;
}

__extension__ using Wide = unsigned __int128;

std::uint64_t upperHalf(Wide wide) {
    return static_cast<std::uint64_t>(wide >> 64);
}

// A power of ten to divide by: shifted until its highest bit is set, and 2^128 divided by that,
// less 2^64.
struct Divisor {
    std::uint64_t normalised = 0;
    std::uint64_t reciprocal = 0;
    int shift = 0;
};

constexpr auto divisors = [] {
    std::array<Divisor, powersOfTen.size()> all{};
    for (std::size_t power = 0; power < all.size(); ++power) {
        const int shift = std::countl_zero(powersOfTen[power]);
        const std::uint64_t normalised = powersOfTen[power] << shift;
        all[power] = {normalised, static_cast<std::uint64_t>(~Wide{0} / normalised), shift};
    }
    return all;
}();

struct Quotient {
    std::uint64_t whole;
    bool hasRest;
};

// Divides by multiplying with the reciprocal (Moeller and Granlund, "Improved division by invariant
// integers", algorithm 4). The dividend's upper half is less than the divisor.
Quotient divide(Wide dividend, const Divisor& by) {
    const Wide estimate = Wide{by.reciprocal} * upperHalf(dividend) + dividend;
    std::uint64_t whole = upperHalf(estimate) + 1;
    std::uint64_t rest = static_cast<std::uint64_t>(dividend) - whole * by.normalised;
    // Half of the time, and nobody can foresee when: no branch.
    const std::uint64_t tooLarge = rest > static_cast<std::uint64_t>(estimate) ? 1 : 0;
    whole -= tooLarge;
    rest += by.normalised & (0 - tooLarge);
    if (rest >= by.normalised) {
        ++whole;
        rest -= by.normalised;
    }
    return {whole, rest != 0};
}

// Few enough digits, and a divisor that fits into one word: one division leaves 61 bits or more and
// a remainder that only matters for whether it is zero.
bool isQuotient(const Decimal& decimal) {
    return decimal.digitCount <= 19 && decimal.digits > 0 && decimal.exponent >= -19 &&
           decimal.exponent < 0;
}

double quotient(const Decimal& decimal) {
    const Divisor& divisor = divisors[static_cast<std::size_t>(-decimal.exponent)];
    const int shift = std::countl_zero(decimal.digits);
    const Quotient found = divide(Wide{decimal.digits << shift} << 62, divisor);
    // Rounded once, here; multiplying by the power of two is exact.
    const auto rounded = toDouble(found.whole | (found.hasRest ? 1U : 0U));
    const auto power = static_cast<std::uint64_t>(1023 + divisor.shift - shift - 62);
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

// Apart from the rest, which then needs few registers.
[[gnu::noinline]] JsonNumber readRarely(const char* begin, const char* end) {
    const auto value = convert<double>({begin, static_cast<std::size_t>(end - begin)});
    return value ? JsonNumber{*value, end} : JsonNumber{};
}

} // namespace

JsonNumber JsonNumber::readIfAny(const char* begin, const char* end) {
    Decimal decimal;
    const char* const behind = takeDecimal(begin, end, decimal);
    if (behind == nullptr) {
        return {};
    }
    if (isExact(decimal)) {
        return {exactValue(decimal), behind};
    }
    if (isQuotient(decimal)) {
        return {quotient(decimal), behind};
    }
    return readRarely(begin, behind);
}

std::optional<double> JsonNumber::readSlowly(std::string_view number) {
    Decimal decimal;
    if (takeDecimal(number.data(), number.data() + number.size(), decimal) == nullptr) {
        return std::nullopt;
    }
    // The decimal point is the only thing strtod reads by the locale: without it, digits and a
    // power of ten.
    std::string digits;
    const std::size_t mantissa = std::min(number.find_first_of("eE"), number.size());
    std::ranges::copy_if(number.substr(0, mantissa), std::back_inserter(digits), isDigit);
    digits.erase(0, digits.find_first_not_of('0'));
    if (digits.empty()) {
        return decimal.negative ? -0.0 : 0.0;
    }
    const std::string text =
        fmt::format("{}{}e{}", decimal.negative ? "-" : "", digits, decimal.exponent);
    const double value = std::strtod(text.c_str(), nullptr);
    return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

} // namespace tessel
