#include "platform/linux/window/ScriptValue.h"

#include "platform/Utf8.h"
#include "platform/linux/GObjectPtr.h"

#include <cmath>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace platform::gtk {
namespace {

namespace json = boost::json;

struct BytesUnref {
    void operator()(GBytes* bytes) const { g_bytes_unref(bytes); }
};

struct NamesFree {
    void operator()(gchar** names) const { g_strfreev(names); }
};

// Gives up, with nothing, on what is too deep (it may contain itself) or too large.
class Conversion {
  public:
    [[nodiscard]] std::optional<json::value> convert(JSCValue* value, int levels) {
        if (levels == 0 || --valuesLeft_ < 0) {
            return std::nullopt;
        }
        if (jsc_value_is_string(value) != FALSE) {
            return text(value);
        }
        if (jsc_value_is_boolean(value) != FALSE) {
            return json::value(jsc_value_to_boolean(value) != FALSE);
        }
        if (jsc_value_is_number(value) != FALSE) {
            const double number = jsc_value_to_double(value);
            return std::isfinite(number) ? json::value(number) : json::value(nullptr);
        }
        if (jsc_value_is_array(value) != FALSE) {
            return array(value, levels);
        }
        return isPlainObject(value) ? object(value, levels) : json::value(nullptr);
    }

  private:
    static json::value text(JSCValue* value) {
        const std::unique_ptr<GBytes, BytesUnref> bytes(jsc_value_to_string_as_bytes(value));
        gsize size = 0;
        const void* const data = g_bytes_get_data(bytes.get(), &size);
        const std::string_view characters(static_cast<const char*>(data), size);
        return isValidUtf8(characters) ? json::value(json::string(characters.data(), size))
                                       : json::value(nullptr);
    }

    static bool isPlainObject(JSCValue* value) {
        return jsc_value_is_object(value) != FALSE && jsc_value_is_function(value) == FALSE &&
               jsc_value_object_is_instance_of(value, "Object") != FALSE &&
               jsc_value_object_is_instance_of(value, "Date") == FALSE;
    }

    std::optional<json::value> array(JSCValue* value, int levels) {
        const GObjectPtr<JSCValue> length(jsc_value_object_get_property(value, "length"));
        const double size = jsc_value_to_double(length.get());
        json::array elements;
        for (guint index = 0; index < size; ++index) {
            const GObjectPtr<JSCValue> element(
                jsc_value_object_get_property_at_index(value, index));
            auto converted = convert(element.get(), levels - 1);
            if (!converted) {
                return std::nullopt;
            }
            elements.push_back(*std::move(converted));
        }
        return json::value(std::move(elements));
    }

    std::optional<json::value> object(JSCValue* value, int levels) {
        const std::unique_ptr<gchar*, NamesFree> names(
            jsc_value_object_enumerate_properties(value));
        json::object members;
        for (gchar** name = names.get(); name != nullptr && *name != nullptr; ++name) {
            const GObjectPtr<JSCValue> member(jsc_value_object_get_property(value, *name));
            auto converted = convert(member.get(), levels - 1);
            if (!converted) {
                return std::nullopt;
            }
            members[*name] = *std::move(converted);
        }
        return json::value(std::move(members));
    }

    int valuesLeft_ = 100'000;
};

} // namespace

boost::json::value scriptValue(JSCValue* value) {
    return Conversion().convert(value, 64).value_or(json::value(nullptr));
}

} // namespace platform::gtk
