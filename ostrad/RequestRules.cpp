#include "ostrad/RequestRules.h"

#include "ostrad/Naming.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace ostrad {

namespace {

constexpr std::array<std::string_view, 3> kOwnNames{"127.0.0.1", "localhost", "[::1]"};

} // namespace

bool isOwnHost(std::optional<std::string_view> host, std::uint16_t port) {
    if (!host) {
        return false;
    }
    const std::string given = asciiLower(*host);
    return std::ranges::any_of(kOwnNames, [&](std::string_view name) {
        return given == fmt::format("{}:{}", name, port) || (port == 80 && given == name);
    });
}

bool isForeign(const Request& request, std::uint16_t port) {
    const auto site = request.header("sec-fetch-site");
    if (site && *site != "same-origin" && *site != "none") {
        return true;
    }
    const auto origin = request.header("origin");
    constexpr std::string_view scheme = "http://";
    return origin &&
           !(origin->starts_with(scheme) && isOwnHost(origin->substr(scheme.size()), port));
}

bool isPageVisit(const Request& request) {
    const bool reads = request.method == Method::get || request.method == Method::head;
    return reads && request.header("sec-fetch-mode") == "navigate" &&
           request.header("sec-fetch-dest") == "document";
}

bool isJson(std::optional<std::string_view> contentType) {
    if (!contentType) {
        return false;
    }
    std::string type = asciiLower(contentType->substr(0, contentType->find(';')));
    type.erase(type.find_last_not_of(" \t") + 1);
    return type == "application/json";
}

} // namespace ostrad
