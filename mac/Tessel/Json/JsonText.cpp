#include "mac/Tessel/Json/JsonText.h"

#include "platform/Utf8.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string_view>
#include <vector>

namespace tessel {
namespace {

class Writer {
  public:
    explicit Writer(bool pretty)
        : pretty_(pretty) {}

    std::optional<std::string> write(const boost::json::value& value) {
        writeValue(value);
        return failed_ ? std::nullopt : std::optional(std::move(text_));
    }

  private:
    void writeValue(const boost::json::value& value);
    void writeObject(const boost::json::object& object);
    void writeArray(const boost::json::array& array);
    void writeString(std::string_view text);
    void writeDouble(double number);
    // Between two entries, and around them all.
    void startLine();

    std::string text_;
    std::size_t level_ = 0;
    bool pretty_;
    bool failed_ = false;
};

void Writer::writeValue(const boost::json::value& value) {
    switch (value.kind()) {
    case boost::json::kind::null:
        text_ += "null";
        break;
    case boost::json::kind::bool_:
        text_ += value.get_bool() ? "true" : "false";
        break;
    case boost::json::kind::int64:
        text_ += fmt::format("{}", value.get_int64());
        break;
    case boost::json::kind::uint64:
        text_ += fmt::format("{}", value.get_uint64());
        break;
    case boost::json::kind::double_:
        writeDouble(value.get_double());
        break;
    case boost::json::kind::string:
        writeString({value.get_string().data(), value.get_string().size()});
        break;
    case boost::json::kind::array:
        writeArray(value.get_array());
        break;
    case boost::json::kind::object:
        writeObject(value.get_object());
        break;
    }
}

void Writer::writeObject(const boost::json::object& object) {
    std::vector<const boost::json::key_value_pair*> members;
    members.reserve(object.size());
    for (const auto& member : object) {
        members.push_back(&member);
    }
    const auto keyOf = [](const boost::json::key_value_pair* member) {
        return std::string_view(member->key_c_str(), member->key().size());
    };
    std::ranges::sort(members, {}, keyOf);
    text_ += '{';
    ++level_;
    for (std::size_t index = 0; index < members.size(); ++index) {
        text_ += index > 0 ? "," : "";
        startLine();
        writeString(keyOf(members[index]));
        text_ += pretty_ ? ": " : ":";
        writeValue(members[index]->value());
    }
    --level_;
    if (!members.empty()) {
        startLine();
    }
    text_ += '}';
}

void Writer::writeArray(const boost::json::array& array) {
    text_ += '[';
    ++level_;
    for (std::size_t index = 0; index < array.size(); ++index) {
        text_ += index > 0 ? "," : "";
        startLine();
        writeValue(array[index]);
    }
    --level_;
    if (!array.empty()) {
        startLine();
    }
    text_ += ']';
}

void Writer::writeString(std::string_view text) {
    failed_ = failed_ || !platform::isValidUtf8(text);
    text_ += '"';
    for (const char character : text) {
        constexpr std::string_view special = "\"\\\b\f\n\r\t";
        constexpr std::string_view letters = "\"\\bfnrt";
        const std::size_t found = special.find(character);
        if (found != std::string_view::npos) {
            text_ += '\\';
            text_ += letters[found];
        } else if (static_cast<unsigned char>(character) < 0x20U) {
            text_ += fmt::format("\\u{:04x}", static_cast<unsigned>(character));
        } else {
            text_ += character;
        }
    }
    text_ += '"';
}

void Writer::writeDouble(double number) {
    constexpr double largestWhole = 9'007'199'254'740'992.0;
    if (!std::isfinite(number)) {
        failed_ = true;
        return;
    }
    // The shortest form of a large whole number may be one with an exponent.
    const bool whole = std::trunc(number) == number && std::abs(number) <= largestWhole;
    text_ += whole ? fmt::format("{:.0f}", number) : fmt::format("{}", number);
}

void Writer::startLine() {
    if (pretty_) {
        text_ += '\n';
        text_.append(2 * level_, ' ');
    }
}

} // namespace

std::optional<std::string> compactJsonText(const boost::json::value& value) {
    return Writer(false).write(value);
}

std::optional<std::string> prettyJsonText(const boost::json::value& value) {
    return Writer(true).write(value);
}

} // namespace tessel
