#pragma once

#include "ostrad/Http.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace ostrad {

// The gate in front of every route. The server has no password: what keeps other web sites out is
// that a request must name this server's own loopback address (which a rebound DNS name does not)
// and must not have been sent on behalf of a foreign page (Origin, RFC 6454; Fetch Metadata). Pure.

// The value is a Host header: "127.0.0.1:PORT", "localhost:PORT" or "[::1]:PORT".
bool isOwnHost(std::optional<std::string_view> host, std::uint16_t port);

// Whether the browser says that a page of another origin is behind this request. Another port of
// this computer is another origin.
bool isForeign(const Request& request, std::uint16_t port);

// A page opened by a link from elsewhere is foreign and yet harmless: it reads nothing into the
// page that linked to it.
bool isPageVisit(const Request& request);

bool isJson(std::optional<std::string_view> contentType);

} // namespace ostrad
