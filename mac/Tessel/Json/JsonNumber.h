// Numbers of JSON text (RFC 8259, section 6) as the nearest doubles, ties to even, whatever the
// locale. Pure functions; any thread; time grows with the number's length.
#pragma once

#include <optional>
#include <string_view>

namespace tessel {

struct JsonNumber {
    double value = 0;
    const char* end = nullptr; // of its text

    // The number at the beginning of the text, with the longest text that is one. Absent when there
    // is none, or when it is too large for a finite double.
    [[nodiscard]] static std::optional<JsonNumber> read(std::string_view text) {
        const JsonNumber number = readIfAny(text.data(), text.data() + text.size());
        return number.end != nullptr ? std::optional(number) : std::nullopt;
    }
    // The same, with a null `end` for what is absent: a result that fits into two registers.
    [[nodiscard]] static JsonNumber readIfAny(const char* begin, const char* end);

    // The way taken where the standard library cannot read doubles without a locale: the same
    // result, more slowly. The text is a number and nothing else.
    [[nodiscard]] static std::optional<double> readSlowly(std::string_view number);
};

} // namespace tessel
