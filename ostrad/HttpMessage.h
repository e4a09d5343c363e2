#pragma once

#include "ostrad/Http.h"

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>

#include <optional>

namespace ostrad {

// A message as the HTTP library parsed it, as the server's own code sees it. Nothing when it cannot
// be understood: no usable target, or no single Host.
std::optional<Request>
requestOf(const boost::beast::http::request<boost::beast::http::string_body>& message);

} // namespace ostrad
