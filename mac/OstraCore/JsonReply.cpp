#include "mac/OstraCore/JsonReply.h"

#include <boost/json/parse.hpp>

namespace ostra {

namespace json = boost::json;

namespace {

// The parser and the destructor of what it makes call themselves once a level.
constexpr std::size_t deepestReply = 100;

} // namespace

std::optional<json::value> parseReply(std::string_view text) {
    constexpr std::string_view byteOrderMark = "\uFEFF";
    if (text.starts_with(byteOrderMark)) {
        text.remove_prefix(byteOrderMark.size());
    }
    json::parse_options options;
    options.max_depth = deepestReply;
    json::error_code error;
    json::value value =
        json::parse(json::string_view(text.data(), text.size()), error, {}, options);
    return error ? std::nullopt : std::optional(std::move(value));
}

std::optional<bool> boolMember(const json::object& object, std::string_view name) {
    const json::value* const member = object.if_contains(name);
    const bool* const value = member == nullptr ? nullptr : member->if_bool();
    return value == nullptr ? std::nullopt : std::optional(*value);
}

std::optional<std::string> stringMember(const json::object& object, std::string_view name) {
    const json::value* const member = object.if_contains(name);
    const json::string* const value = member == nullptr ? nullptr : member->if_string();
    return value == nullptr
               ? std::nullopt
               : std::optional<std::string>(std::in_place, value->data(), value->size());
}

} // namespace ostra
