// The one rule for the server's address, and what is done with addresses in general. Pure; any
// thread.
#pragma once

#include <boost/url/url.hpp>

#include <cstdint>
#include <optional>
#include <string_view>

namespace ostra {

using Url = boost::urls::url; // RFC 3986

// "http://127.0.0.1:PORT/"
[[nodiscard]] Url serverUrl(std::uint16_t port);
// "http://127.0.0.1:PORT/api/health"
[[nodiscard]] Url healthUrl(std::uint16_t port);

// The URL that a text is, absolute or relative; nothing for an empty text, which is a valid
// reference too, but leads nowhere.
[[nodiscard]] std::optional<Url> parseUrl(std::string_view text);

// The URL with path segments behind its own, whether or not it ends in a slash; a query and a
// fragment stay. `segments` is relative and percent-encoded: "api/modes".
[[nodiscard]] Url appendingPath(const Url& base, std::string_view segments);

} // namespace ostra
