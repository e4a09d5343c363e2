// C++ values as arguments of D-Bus messages. Each type has one signature: bool is b, the integers
// of fixed width are i, u, x and t, double is d, std::string is s, std::vector is an array,
// std::tuple and a struct with members() a structure. Text that is not UTF-8 is mended on its way
// out. Pure functions; any thread.
#pragma once

#include "platform/Utf8.h"

#include <glib.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace platform::connection {

template <typename Type>
struct VariantOf;

template <typename Type>
concept WithMembers = requires { Type::members(); };

// The D-Bus signature of values one after the other.
template <typename... Types>
[[nodiscard]] std::string signatureOf() {
    return (std::string() + ... + VariantOf<Types>::signature());
}

// A floating structure of the values: the arguments of a message.
template <typename... Types>
[[nodiscard]] GVariant* pack(const Types&... values) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_TUPLE);
    (g_variant_builder_add_value(&builder, VariantOf<Types>::pack(values)), ...);
    return g_variant_builder_end(&builder);
}

// `arguments` has the type that signatureOf() says, in brackets.
template <typename... Types>
[[nodiscard]] std::tuple<Types...> unpack([[maybe_unused]] GVariant* arguments) {
    [[maybe_unused]] gsize index = 0;
    [[maybe_unused]] const auto next = [&]<typename Type>(std::type_identity<Type>) {
        GVariant* const child = g_variant_get_child_value(arguments, index++);
        Type value = VariantOf<Type>::unpack(child);
        g_variant_unref(child);
        return value;
    };
    return std::tuple<Types...>{next(std::type_identity<Types>())...};
}

template <>
struct VariantOf<bool> {
    static std::string signature() { return "b"; }
    static GVariant* pack(bool value) { return g_variant_new_boolean(value ? TRUE : FALSE); }
    static bool unpack(GVariant* value) { return g_variant_get_boolean(value) != FALSE; }
};

template <>
struct VariantOf<std::int32_t> {
    static std::string signature() { return "i"; }
    static GVariant* pack(std::int32_t value) { return g_variant_new_int32(value); }
    static std::int32_t unpack(GVariant* value) { return g_variant_get_int32(value); }
};

template <>
struct VariantOf<std::uint32_t> {
    static std::string signature() { return "u"; }
    static GVariant* pack(std::uint32_t value) { return g_variant_new_uint32(value); }
    static std::uint32_t unpack(GVariant* value) { return g_variant_get_uint32(value); }
};

template <>
struct VariantOf<std::int64_t> {
    static std::string signature() { return "x"; }
    static GVariant* pack(std::int64_t value) { return g_variant_new_int64(value); }
    static std::int64_t unpack(GVariant* value) { return g_variant_get_int64(value); }
};

template <>
struct VariantOf<std::uint64_t> {
    static std::string signature() { return "t"; }
    static GVariant* pack(std::uint64_t value) { return g_variant_new_uint64(value); }
    static std::uint64_t unpack(GVariant* value) { return g_variant_get_uint64(value); }
};

template <>
struct VariantOf<double> {
    static std::string signature() { return "d"; }
    static GVariant* pack(double value) { return g_variant_new_double(value); }
    static double unpack(GVariant* value) { return g_variant_get_double(value); }
};

template <>
struct VariantOf<std::string> {
    static std::string signature() { return "s"; }
    static GVariant* pack(const std::string& value) {
        return isValidUtf8(value) ? g_variant_new_string(value.c_str())
                                  : g_variant_new_string(wellFormedUtf8(value).c_str());
    }
    static std::string unpack(GVariant* value) {
        gsize size = 0;
        const char* const text = g_variant_get_string(value, &size);
        return {text, size};
    }
};

template <typename Element>
struct VariantOf<std::vector<Element>> {
    static std::string signature() { return "a" + VariantOf<Element>::signature(); }
    static GVariant* pack(const std::vector<Element>& values) {
        GVariantBuilder builder;
        const std::string type = signature();
        g_variant_builder_init(&builder, G_VARIANT_TYPE(type.c_str()));
        for (const Element& value : values) {
            g_variant_builder_add_value(&builder, VariantOf<Element>::pack(value));
        }
        return g_variant_builder_end(&builder);
    }
    static std::vector<Element> unpack(GVariant* value) {
        const gsize size = g_variant_n_children(value);
        std::vector<Element> result;
        result.reserve(size);
        for (gsize index = 0; index < size; ++index) {
            GVariant* const child = g_variant_get_child_value(value, index);
            result.push_back(VariantOf<Element>::unpack(child));
            g_variant_unref(child);
        }
        return result;
    }
};

template <typename... Types>
struct VariantOf<std::tuple<Types...>> {
    static std::string signature() { return "(" + signatureOf<Types...>() + ")"; }
    static GVariant* pack(const std::tuple<Types...>& values) {
        return std::apply([](const Types&... each) { return connection::pack(each...); }, values);
    }
    static std::tuple<Types...> unpack(GVariant* value) {
        return connection::unpack<Types...>(value);
    }
};

template <WithMembers Type>
struct VariantOf<Type> {
    template <typename... Members>
    static auto tupleType(std::tuple<Members Type::*...>) -> std::tuple<Members...>;
    using Tuple = decltype(tupleType(Type::members()));

    static std::string signature() { return VariantOf<Tuple>::signature(); }
    static GVariant* pack(const Type& value) {
        return std::apply([&](auto... members) { return connection::pack(value.*members...); },
                          Type::members());
    }
    static Type unpack(GVariant* value) {
        return std::apply([](auto&&... members) { return Type{std::move(members)...}; },
                          VariantOf<Tuple>::unpack(value));
    }
};

} // namespace platform::connection
