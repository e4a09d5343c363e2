#include "mac/OstraCore/ServerUrl.h"

#include <boost/url/parse.hpp>
#include <fmt/format.h>

#include <string>

namespace ostra {

Url serverUrl(std::uint16_t port) {
    return Url(fmt::format("http://127.0.0.1:{}/", port));
}

Url healthUrl(std::uint16_t port) {
    return Url(fmt::format("http://127.0.0.1:{}/api/health", port));
}

std::optional<Url> parseUrl(std::string_view text) {
    const auto parsed = boost::urls::parse_uri_reference(text);
    if (text.empty() || !parsed) {
        return std::nullopt;
    }
    // Boost 1.81 reads "http://host:x" as a port without digits and the path "x", though a path
    // behind a host begins with a slash (RFC 3986, 3.3).
    const std::string_view path = parsed->encoded_path();
    if (parsed->has_authority() && !path.empty() && !path.starts_with('/')) {
        return std::nullopt;
    }
    return Url(*parsed);
}

Url appendingPath(const Url& base, std::string_view segments) {
    std::string path(base.encoded_path());
    if (!path.ends_with('/')) {
        path += '/';
    }
    path += segments;
    Url longer = base;
    longer.set_encoded_path(path);
    return longer;
}

} // namespace ostra
