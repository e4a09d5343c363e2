#include "mac/OstraCore/ServerUrl.h"

#include <fmt/format.h>

namespace ostra {

Url serverUrl(std::uint16_t port) {
    return Url(fmt::format("http://127.0.0.1:{}/", port));
}

Url healthUrl(std::uint16_t port) {
    return Url(fmt::format("http://127.0.0.1:{}/api/health", port));
}

} // namespace ostra
