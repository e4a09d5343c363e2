// Messages between the application and its window program, in both directions: the bytes of one
// D-Bus message. What is let through has the types that its method's handler takes apart.
#include "platform/linux/connection/MenuEntries.h"
#include "platform/linux/connection/Variant.h"
#include "platform/linux/connection/WindowInterface.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace platform::connection;

constexpr std::size_t largest = 1024;

void takeApart(Side side, GDBusMessage* message) {
    const std::string method = g_dbus_message_get_member(message);
    GVariant* const body = g_dbus_message_get_body(message);
    const std::string types = argumentsOf(side, method.c_str());
    if ((body == nullptr ? std::string("()") : std::string(g_variant_get_type_string(body))) !=
        "(" + types + ")") {
        std::abort();
    }
    if (body != nullptr && g_variant_get_size(body) > largest) {
        std::abort();
    }
    if (method == "SetMainMenu") {
        const auto [edition, entries] = unpack<std::uint64_t, std::vector<MenuEntry>>(body);
        const auto menu = menuOf(entries, [](std::uint32_t /*place*/) {});
        if (entriesOf(menu).size() > entries.size()) {
            std::abort();
        }
    } else if (method == "ScriptMessage") {
        (void)unpack<std::uint64_t, std::string, std::string>(body);
    } else if (method == "WindowResized") {
        (void)unpack<std::uint64_t, std::int32_t, std::int32_t, bool>(body);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<guchar> bytes(data, data + size);
    GDBusMessage* const message = g_dbus_message_new_from_blob(
        bytes.data(), bytes.size(), G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
    if (message == nullptr) {
        return 0;
    }
    for (const Side side : {Side::program, Side::owner}) {
        if (isAcceptable(message, side, largest) &&
            g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
            takeApart(side, message);
        }
    }
    g_object_unref(message);
    return 0;
}
