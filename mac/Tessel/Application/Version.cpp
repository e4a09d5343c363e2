#include "mac/Tessel/Application/Version.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tessel {
namespace {

using Numbers = std::vector<std::int64_t>;

std::optional<std::int64_t> parseNumber(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) {
            return std::nullopt;
        }
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

std::optional<Numbers> parse(std::string_view text) {
    Numbers numbers;
    while (true) {
        const auto dot = text.find('.');
        const auto number = parseNumber(text.substr(0, dot));
        if (!number) {
            return std::nullopt;
        }
        numbers.push_back(*number);
        if (dot == std::string_view::npos) {
            return numbers;
        }
        text.remove_prefix(dot + 1);
    }
}

} // namespace

bool AppVersion::isNewer(std::string_view a, std::string_view than) {
    if (a.empty()) {
        return false;
    }
    auto left = parse(a);
    auto right = parse(than);
    if (!left || !right) {
        return a != than;
    }
    const std::size_t length = std::max(left->size(), right->size());
    left->resize(length, 0);
    right->resize(length, 0);
    return *left > *right;
}

} // namespace tessel
