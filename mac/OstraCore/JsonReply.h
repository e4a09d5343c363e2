// What a server sent, as JSON (RFC 8259), when nothing about it can be trusted: malformed text,
// text that is not UTF-8, text that goes on after the value, and values nested deeper than 100
// read as nothing. A byte order mark at the start is skipped; of members with one name the last
// counts. Only members of the expected type are handed out. Pure; any thread.
#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace ostra {

[[nodiscard]] std::optional<boost::json::value> parseReply(std::string_view text);

[[nodiscard]] std::optional<bool> boolMember(const boost::json::object& object,
                                             std::string_view name);
[[nodiscard]] std::optional<std::string> stringMember(const boost::json::object& object,
                                                      std::string_view name);

} // namespace ostra
