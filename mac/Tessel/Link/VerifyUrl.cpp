#include "mac/Tessel/Link/VerifyUrl.h"

#include "mac/Tessel/Values/LoopbackHost.h"

namespace tessel {

std::optional<Url> validatedVerifyURL(std::string_view verifyUrl, const Url& serverOrigin) {
    auto url = parseUrl(verifyUrl);
    const auto host = url ? urlHost(*url) : std::nullopt;
    if (!host || host != urlHost(serverOrigin) || urlPort(*url) != urlPort(serverOrigin)) {
        return std::nullopt;
    }
    const auto scheme = urlScheme(*url);
    if (scheme == "https" || (scheme == "http" && isLoopbackHost(*host))) {
        return url;
    }
    return std::nullopt;
}

} // namespace tessel
