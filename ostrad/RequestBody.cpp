#include "ostrad/RequestBody.h"

#include "ostrad/Naming.h"
#include "ostrad/RequestRules.h"

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>

#include <utility>

namespace ostrad {

namespace json = boost::json;

namespace {

constexpr std::size_t kLongestDisplayName = 200;

std::string_view withoutSpaceAround(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

} // namespace

std::expected<json::object, ApiError> jsonBody(const Request& request) {
    if (!isJson(request.header("content-type"))) {
        return std::unexpected(ApiError{415, "The request must be application/json."});
    }
    boost::system::error_code error;
    json::value body = json::parse({request.body.data(), request.body.size()}, error);
    if (error || !body.is_object()) {
        return std::unexpected(ApiError{400, "The request body must be a JSON object."});
    }
    return std::move(body.get_object());
}

std::optional<std::string> stringMember(const json::object& object, std::string_view name) {
    const json::value* const value = object.if_contains({name.data(), name.size()});
    const json::string* const text = value == nullptr ? nullptr : value->if_string();
    return text == nullptr ? std::nullopt : std::optional(std::string(text->data(), text->size()));
}

std::string cookie(const Request& request, std::string_view name) {
    std::string_view rest = request.header("cookie").value_or("");
    while (!rest.empty()) {
        const std::size_t end = rest.find(';');
        const std::string_view pair = withoutSpaceAround(rest.substr(0, end));
        const std::size_t equals = pair.find('=');
        if (equals != std::string_view::npos && pair.substr(0, equals) == name) {
            return std::string(pair.substr(equals + 1));
        }
        rest = end == std::string_view::npos ? "" : rest.substr(end + 1);
    }
    return {};
}

std::optional<std::string> displayName(std::string_view text) {
    std::string_view kept = withoutSpaceAround(text);
    if (kept.size() > kLongestDisplayName) {
        std::size_t length = kLongestDisplayName;
        while (length > 0 && (static_cast<unsigned char>(kept[length]) & 0xC0U) == 0x80U) {
            --length; // not in the middle of a character
        }
        kept = kept.substr(0, length);
    }
    return kept.empty() ? std::nullopt : std::optional(validUtf8(kept));
}

} // namespace ostrad
