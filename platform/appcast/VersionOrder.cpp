#include "platform/appcast/VersionOrder.h"

#include <algorithm>
#include <compare>

namespace platform::appcast {
namespace {

// The number that the text begins with, without leading zeros; the text goes on after its dot.
std::string_view takeNumber(std::string_view& text) {
    const auto end = std::min(text.find('.'), text.size());
    auto number = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

// Of any length: the longer one is the larger one.
std::strong_ordering compareNumbers(std::string_view a, std::string_view b) {
    return a.size() == b.size() ? a <=> b : a.size() <=> b.size();
}

} // namespace

bool isReadableVersion(std::string_view text) {
    return !text.empty() && !text.starts_with('.') && !text.ends_with('.') &&
           text.find("..") == std::string_view::npos &&
           text.find_first_not_of("0123456789.") == std::string_view::npos;
}

bool isNewerVersion(std::string_view a, std::string_view than) {
    if (!isReadableVersion(a)) {
        return false;
    }
    if (!isReadableVersion(than)) {
        return true;
    }
    while (!a.empty() || !than.empty()) {
        const auto order = compareNumbers(takeNumber(a), takeNumber(than));
        if (order != 0) {
            return order > 0;
        }
    }
    return false;
}

} // namespace platform::appcast
