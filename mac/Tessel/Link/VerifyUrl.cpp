#include "mac/Tessel/Link/VerifyUrl.h"

#include <algorithm>
#include <array>
#include <string>

namespace tessel {
namespace {

bool isLoopback(const std::string& host) {
    constexpr std::array<std::string_view, 3> names{"localhost", "127.0.0.1", "::1"};
    return std::ranges::find(names, host) != names.end();
}

} // namespace

std::optional<Url> validatedVerifyURL(std::string_view verifyUrl, const Url& serverOrigin) {
    auto url = parseUrl(verifyUrl);
    const auto host = url ? urlHost(*url) : std::nullopt;
    if (!host || host != urlHost(serverOrigin) || urlPort(*url) != urlPort(serverOrigin)) {
        return std::nullopt;
    }
    const auto scheme = urlScheme(*url);
    if (scheme == "https" || (scheme == "http" && isLoopback(*host))) {
        return url;
    }
    return std::nullopt;
}

} // namespace tessel
