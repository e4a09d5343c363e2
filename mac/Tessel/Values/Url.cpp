#include "mac/Tessel/Values/Url.h"

#include "platform/UrlText.h"

#include <algorithm>

namespace tessel {
namespace {

std::string copied(boost::core::string_view text) {
    return {text.data(), text.size()};
}

} // namespace

std::optional<Url> parseUrl(std::string_view text) {
    return platform::parseUrlReference(text);
}

std::optional<std::string> urlScheme(const Url& url) {
    return url.has_scheme() ? std::optional(copied(url.scheme())) : std::nullopt;
}

std::optional<std::string> urlHost(const Url& url) {
    if (!url.has_authority()) {
        return std::nullopt;
    }
    const auto encoded = url.encoded_host();
    std::string host(encoded.data(), encoded.size());
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    }
    return host.empty() ? std::nullopt : std::optional(std::move(host));
}

std::optional<std::string> urlPort(const Url& url) {
    if (!url.has_port() || url.port().empty()) {
        return std::nullopt;
    }
    const std::string digits = copied(url.port());
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
}

} // namespace tessel
