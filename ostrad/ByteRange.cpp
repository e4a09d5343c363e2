#include "ostrad/ByteRange.h"

#include "ostrad/Naming.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

namespace ostrad {

namespace {

constexpr ByteRange kWhole{};
constexpr ByteRange kUnsatisfiable{.kind = ByteRange::Kind::unsatisfiable};

std::string_view trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) {
        text.remove_suffix(1);
    }
    return text;
}

// Digits only; a number too large to hold is as good as the largest.
std::optional<std::uint64_t> position(std::string_view text) {
    const bool isNumber =
        !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
    if (!isNumber) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc{} ? value : std::numeric_limits<std::uint64_t>::max();
}

} // namespace

ByteRange parseRange(std::string_view header, std::uint64_t size) {
    const std::size_t equals = header.find('=');
    if (equals == std::string_view::npos || asciiLower(trim(header.substr(0, equals))) != "bytes") {
        return kWhole;
    }
    const std::string_view range = trim(header.substr(equals + 1));
    const std::size_t dash = range.find('-');
    if (dash == std::string_view::npos || range.find(',') != std::string_view::npos) {
        return kWhole;
    }
    const std::string_view firstText = range.substr(0, dash);
    const std::string_view lastText = range.substr(dash + 1);
    const auto first = position(firstText);
    const auto last = position(lastText);

    if (firstText.empty() && last) { // the last so many bytes
        const std::uint64_t length = std::min(*last, size);
        return length == 0 ? kUnsatisfiable
                           : ByteRange{ByteRange::Kind::slice, size - length, length};
    }
    if (!first || (!lastText.empty() && !last) || (last && *last < *first)) {
        return kWhole;
    }
    if (*first >= size) {
        return kUnsatisfiable;
    }
    const std::uint64_t end = last ? std::min(*last, size - 1) : size - 1;
    return {ByteRange::Kind::slice, *first, end - *first + 1};
}

} // namespace ostrad
