// The one rule for the server's address. Pure; any thread.
#pragma once

#include <boost/url/url.hpp>

#include <cstdint>

namespace ostra {

using Url = boost::urls::url; // RFC 3986

// "http://127.0.0.1:PORT/"
[[nodiscard]] Url serverUrl(std::uint16_t port);
// "http://127.0.0.1:PORT/api/health"
[[nodiscard]] Url healthUrl(std::uint16_t port);

} // namespace ostra
