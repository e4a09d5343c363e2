#include "mac/OstraCore/StagedPayloads.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <system_error>
#include <vector>

namespace ostra {
namespace {

using Version = std::vector<std::int64_t>;

// A base-10 integer with an optional sign and nothing around it.
std::optional<std::int64_t> parseInteger(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) {
            return std::nullopt;
        }
    }
    std::int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stop != end) {
        return std::nullopt;
    }
    return value;
}

std::optional<Version> parse(std::string_view text) {
    Version version;
    while (true) {
        const std::size_t dot = text.find('.');
        const auto value = parseInteger(text.substr(0, dot));
        if (!value || *value < 0) {
            return std::nullopt;
        }
        version.push_back(*value);
        if (dot == std::string_view::npos) {
            return version;
        }
        text.remove_prefix(dot + 1);
    }
}

bool isNewer(const Version& a, const Version& b) {
    const auto at = [](const Version& version, std::size_t index) {
        return index < version.size() ? version[index] : 0;
    };
    for (std::size_t index = 0; index < std::max(a.size(), b.size()); ++index) {
        if (at(a, index) != at(b, index)) {
            return at(a, index) > at(b, index);
        }
    }
    return false;
}

} // namespace

std::optional<std::string> StagedPayloads::version(std::string_view fromName,
                                                   std::string_view prefix) {
    if (!fromName.starts_with(prefix)) {
        return std::nullopt;
    }
    const std::string_view rest = fromName.substr(prefix.size());
    if (!parse(rest)) {
        return std::nullopt;
    }
    return std::string(rest);
}

std::optional<StagedPayloads::Candidate>
StagedPayloads::pickBest(std::span<const std::string> names, std::string_view newerThan,
                         std::string_view prefix) {
    std::optional<Candidate> best;
    for (const std::string& name : names) {
        const auto candidate = version(name, prefix);
        if (candidate && isNewer(*candidate, newerThan) &&
            (!best || isNewer(*candidate, best->version))) {
            best = Candidate{name, *candidate};
        }
    }
    return best;
}

bool StagedPayloads::isNewer(std::string_view a, std::string_view b) {
    const auto left = parse(a);
    const auto right = parse(b);
    return left && right && ostra::isNewer(*left, *right);
}

} // namespace ostra
