#include "mac/OstraCore/ServerUrl.h"

#include "platform/UrlText.h"

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
    return text.empty() ? std::nullopt : platform::parseUrlReference(text);
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
