// Fields of JSON objects that came from somebody else. Lenient where a decoder of records is:
// unknown keys do not matter and of a repeated key the last one counts. Strict in the rest: the
// text is one RFC 8259 object in UTF-8, at most 512 levels deep. Pure; any thread; nothing is
// thrown but std::bad_alloc.
#pragma once

#include <boost/json/object.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace tessel {

[[nodiscard]] std::optional<boost::json::object> parseJsonObject(std::string_view text);

// Absent when the key is missing or its value is no string.
[[nodiscard]] std::optional<std::string> stringField(const boost::json::object& object,
                                                     std::string_view key);

// Whether an optional field is absent: its key is missing or its value null.
[[nodiscard]] bool lacks(const boost::json::object& object, std::string_view key);

// Absent when the key is missing or its value is no finite number.
[[nodiscard]] std::optional<double> numberField(const boost::json::object& object,
                                                std::string_view key);

} // namespace tessel
