#include "platform/HttpClient.h"

#include <algorithm>

namespace platform {
namespace {

char lowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool sameName(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, lowerAscii, lowerAscii);
}

} // namespace

std::optional<std::string_view> HttpResponse::header(std::string_view name) const {
    const auto found = std::ranges::find_if(
        headers, [name](const auto& field) { return sameName(field.first, name); });
    return found == headers.end() ? std::nullopt : std::optional<std::string_view>(found->second);
}

} // namespace platform
