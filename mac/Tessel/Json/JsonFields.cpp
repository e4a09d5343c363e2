#include "mac/Tessel/Json/JsonFields.h"

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>

#include <cmath>
#include <utility>

namespace tessel {
namespace {

boost::json::string_view viewed(std::string_view text) {
    return {text.data(), text.size()};
}

} // namespace

std::optional<boost::json::object> parseJsonObject(std::string_view text) {
    boost::json::parse_options options;
    options.max_depth = 512;
    boost::system::error_code failed;
    auto value = boost::json::parse(viewed(text), failed, {}, options);
    if (failed || !value.is_object()) {
        return std::nullopt;
    }
    return std::move(value.get_object());
}

std::optional<std::string> stringField(const boost::json::object& object, std::string_view key) {
    const auto* const value = object.if_contains(viewed(key));
    if (value == nullptr || !value->is_string()) {
        return std::nullopt;
    }
    return std::string(value->get_string().data(), value->get_string().size());
}

bool lacks(const boost::json::object& object, std::string_view key) {
    const auto* const value = object.if_contains(viewed(key));
    return value == nullptr || value->is_null();
}

std::optional<double> numberField(const boost::json::object& object, std::string_view key) {
    const auto* const value = object.if_contains(viewed(key));
    if (value == nullptr || !value->is_number()) {
        return std::nullopt;
    }
    const double number = value->is_double()  ? value->get_double()
                          : value->is_int64() ? static_cast<double>(value->get_int64())
                                              : static_cast<double>(value->get_uint64());
    return std::isfinite(number) ? std::optional(number) : std::nullopt;
}

} // namespace tessel
