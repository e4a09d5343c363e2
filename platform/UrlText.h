// One rule for what a URL is (RFC 3986, to the letter), whichever release of Boost.URL reads it.
// Pure; any thread; nothing is thrown but std::bad_alloc.
#pragma once

#include <boost/url/url.hpp>

#include <optional>
#include <string_view>

namespace platform {

// A URI with a scheme, or a relative reference; its text is kept as it is. A host that only begins
// like an IPv4 address ("127.0.0.1.nip.io") is a name.
[[nodiscard]] std::optional<boost::urls::url> parseUrlReference(std::string_view text);

} // namespace platform
