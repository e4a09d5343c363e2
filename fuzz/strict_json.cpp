// JSON text: what is accepted here, Boost.JSON accepts too, with the same kinds, sizes and strings.
// Numbers are the same on both of our ways of reading them.
#include "fuzz/Fuzzing.h"
#include "mac/Tessel/Json/JsonNumber.h"
#include "mac/Tessel/Json/StrictJson.h"

#include <boost/json/parse.hpp>

#include <optional>

using fuzzing::require;
using tessel::JsonNumber;
using tessel::StrictJson;

namespace {

void compare(StrictJson::Value ours, const boost::json::value& theirs) {
    switch (ours.kind()) {
    case StrictJson::Kind::null:
        require(theirs.is_null(), "null");
        break;
    case StrictJson::Kind::boolean:
        require(theirs.is_bool() && ours.boolean() == theirs.get_bool(), "boolean");
        break;
    case StrictJson::Kind::number:
        require(theirs.is_number(), "number");
        break;
    case StrictJson::Kind::string:
        require(theirs.is_string() &&
                    *ours.string() ==
                        std::string_view(theirs.get_string().data(), theirs.get_string().size()),
                "string");
        break;
    case StrictJson::Kind::array: {
        require(theirs.is_array() && ours.size() == theirs.get_array().size(), "array");
        std::size_t index = 0;
        for (const auto element : ours.elements()) {
            compare(element, theirs.get_array()[index++]);
        }
        break;
    }
    case StrictJson::Kind::object:
        // As many members: an object that keeps one of each key lost none.
        require(theirs.is_object() && ours.size() == theirs.get_object().size(), "object");
        for (const auto member : ours.members()) {
            const auto* const value =
                theirs.get_object().if_contains({member.key.data(), member.key.size()});
            require(value != nullptr, "member");
            compare(member.value, *value);
        }
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = fuzzing::textOf(data, size);
    const auto number = JsonNumber::read(text);
    if (number) {
        const auto length = static_cast<std::size_t>(number->end - text.data());
        require(JsonNumber::readSlowly(text.substr(0, length)) == number->value,
                "a number is the same both ways");
    }
    const auto tree = StrictJson::parse(text);
    if (tree) {
        boost::json::parse_options options;
        options.max_depth = StrictJson::mostLevels + 1;
        boost::json::error_code failed;
        const auto value = boost::json::parse({text.data(), text.size()}, failed, {}, options);
        // An exponent of many digits is JSON, and zero when it is negative.
        if (failed == boost::json::error::exponent_overflow) {
            return 0;
        }
        require(!failed, "what is read here is JSON");
        compare(tree->root(), value);
    }
    return 0;
}
