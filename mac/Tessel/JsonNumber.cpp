#include "mac/Tessel/JsonNumber.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
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

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

// The digits of a number as a whole number and a power of ten, as far as they fit.
struct Decimal {
    std::uint64_t digits = 0;
    std::size_t digitCount = 0; // without leading zeros
    std::int64_t exponent = 0;
    bool negative = false;

    void add(char character) {
        digits = digits * 10 + static_cast<unsigned>(character - '0');
        digitCount += digits > 0 || digitCount > 0 ? 1 : 0;
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
        for (; cursor != end_ && isDigit(*cursor); ++cursor) {
            decimal.add(*cursor);
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
