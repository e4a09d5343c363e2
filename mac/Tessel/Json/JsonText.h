// JSON text (RFC 8259) of a value, the same for the same value every time: the keys of an object
// are sorted by their bytes, UTF-8 stays as it is, and only quotation marks, backslashes and
// control characters are escaped. A double is written with the fewest digits that read back as the
// same double, without a fraction when it is a whole number within 2^53 of zero. Pure functions;
// any thread.
#pragma once

#include <boost/json/value.hpp>

#include <optional>
#include <string>

namespace tessel {

// On one line without spaces. Absent when JSON cannot say it: a number that is not finite, or a
// string that is not UTF-8.
[[nodiscard]] std::optional<std::string> compactJsonText(const boost::json::value& value);

// One entry a line, indented by two spaces a level; no line feed at the end.
[[nodiscard]] std::optional<std::string> prettyJsonText(const boost::json::value& value);

} // namespace tessel
