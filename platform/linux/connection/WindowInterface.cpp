#include "platform/linux/connection/WindowInterface.h"

#include <array>
#include <cstring>
#include <stdexcept>

namespace platform::connection {

extern const char* const windowInterfaceXml; // made from WindowInterface.xml by CMake

namespace {

GDBusInterfaceInfo* describe(const char* interface) {
    // Kept for good: messages of any moment are judged by it.
    static GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(windowInterfaceXml, nullptr);
    GDBusInterfaceInfo* const found =
        node == nullptr ? nullptr : g_dbus_node_info_lookup_interface(node, interface);
    if (found == nullptr) {
        throw std::logic_error(std::string("there is no interface ") + interface);
    }
    g_dbus_interface_info_cache_build(found);
    return found;
}

std::string typesOf(GDBusArgInfo** arguments) {
    std::string types;
    for (; arguments != nullptr && *arguments != nullptr; ++arguments) {
        types += (*arguments)->signature;
    }
    return types;
}

const GDBusMethodInfo& methodOf(Side side, const char* method) {
    const GDBusMethodInfo* const found =
        g_dbus_interface_info_lookup_method(endpointOf(side).description, method);
    if (found == nullptr) {
        throw std::logic_error(std::string("there is no method ") + method);
    }
    return *found;
}

bool isCallOf(GDBusMessage* message, const Endpoint& endpoint) {
    const char* const path = g_dbus_message_get_path(message);
    const char* const interface = g_dbus_message_get_interface(message);
    const char* const member = g_dbus_message_get_member(message);
    if (path == nullptr || interface == nullptr || member == nullptr ||
        std::strcmp(path, endpoint.path) != 0 || std::strcmp(interface, endpoint.interface) != 0) {
        return false;
    }
    const GDBusMethodInfo* const method =
        g_dbus_interface_info_lookup_method(endpoint.description, member);
    if (method == nullptr) {
        return false;
    }
    GVariant* const body = g_dbus_message_get_body(message);
    const std::string types =
        body == nullptr ? std::string("()") : std::string(g_variant_get_type_string(body));
    return types == "(" + typesOf(method->in_args) + ")";
}

} // namespace

const Endpoint& endpointOf(Side side) {
    static const std::array endpoints = {
        Endpoint{.path = "/program",
                 .interface = "app.zorvane.WindowProgram",
                 .description = describe("app.zorvane.WindowProgram")},
        Endpoint{.path = "/owner",
                 .interface = "app.zorvane.WindowOwner",
                 .description = describe("app.zorvane.WindowOwner")}};
    return endpoints.at(static_cast<std::size_t>(side));
}

std::string argumentsOf(Side side, const char* method) {
    return typesOf(methodOf(side, method).in_args);
}

std::string resultsOf(Side side, const char* method) {
    return typesOf(methodOf(side, method).out_args);
}

bool isAcceptable(GDBusMessage* message, Side side, std::size_t largest) {
    GVariant* const body = g_dbus_message_get_body(message);
    if (body != nullptr && g_variant_get_size(body) > largest) {
        return false;
    }
    switch (g_dbus_message_get_message_type(message)) {
    case G_DBUS_MESSAGE_TYPE_METHOD_RETURN:
    case G_DBUS_MESSAGE_TYPE_ERROR:
        return true;
    case G_DBUS_MESSAGE_TYPE_METHOD_CALL:
        return isCallOf(message, endpointOf(side));
    default:
        return false;
    }
}

} // namespace platform::connection
