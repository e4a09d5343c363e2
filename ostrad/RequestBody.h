#pragma once

#include "ostrad/Http.h"
#include "ostrad/Replies.h"

#include <boost/json/object.hpp>

#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace ostrad {

// What a request carries, read as what the API asks for. Pure.

// A JSON object; the error is 415 for another content type and 400 for anything else.
std::expected<boost::json::object, ApiError> jsonBody(const Request& request);

// A string member; nothing when it is missing or of another type.
std::optional<std::string> stringMember(const boost::json::object& object, std::string_view name);

// The value of a cookie (RFC 6265, 5.4); empty when it is not there.
std::string cookie(const Request& request, std::string_view name);

// A name that a person or a program chose: without white space around it, valid UTF-8, at most 200
// bytes; what is longer is cut. Nothing when nothing is left.
std::optional<std::string> displayName(std::string_view text);

} // namespace ostrad
