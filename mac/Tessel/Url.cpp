#include "mac/Tessel/Url.h"

#include <boost/url/parse.hpp>

#include <algorithm>

namespace tessel {
namespace {

std::string copied(boost::core::string_view text) {
    return {text.data(), text.size()};
}

// Boost 1.81 ends an authority where an address or a number ends: of "http://127.0.0.1.evil/" it
// says that the host is 127.0.0.1 and the path ".evil/". After an authority the RFC allows no path
// but an empty one or one that begins with a slash.
bool endsItsAuthority(const boost::urls::url_view& url) {
    return !url.has_authority() || url.encoded_path().empty() ||
           url.encoded_path().starts_with('/');
}

} // namespace

std::optional<Url> parseUrl(std::string_view text) {
    const auto parsed = boost::urls::parse_uri_reference({text.data(), text.size()});
    return parsed && endsItsAuthority(*parsed) ? std::optional<Url>(*parsed) : std::nullopt;
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
