#include "tests/desktop/session/Logind.h"

#include <stdexcept>
#include <string_view>

namespace desktop {
namespace {

constexpr const char* managerInterface = "org.freedesktop.login1.Manager";
constexpr const char* sessionInterface = "org.freedesktop.login1.Session";
constexpr const char* managerPath = "/org/freedesktop/login1";
constexpr const char* interfaces =
    "<node>"
    "<interface name='org.freedesktop.login1.Manager'>"
    "<method name='GetSession'><arg type='s' direction='in'/><arg type='o' direction='out'/>"
    "</method></interface>"
    "<interface name='org.freedesktop.login1.Session'>"
    "<property name='State' type='s' access='read'/>"
    "</interface></node>";

} // namespace

Logind::Logind(const std::string& busAddress)
    : bus_(g_dbus_connection_new_for_address_sync(
          busAddress.c_str(),
          static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                            G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
          nullptr, nullptr, nullptr))
    , description_(g_dbus_node_info_new_for_xml(interfaces, nullptr), &g_dbus_node_info_unref) {
    if (!bus_ || !description_) {
        throw std::runtime_error("cannot play logind");
    }
    offer(managerPath, managerInterface);
    offer(session, sessionInterface);
    GVariant* const answer = g_dbus_connection_call_sync(
        bus_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", "org.freedesktop.login1", guint32{0}), nullptr,
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (answer == nullptr) {
        throw std::runtime_error("cannot play logind under its name");
    }
    g_variant_unref(answer);
}

Logind::~Logind() {
    g_dbus_connection_close_sync(bus_.get(), nullptr, nullptr);
}

void Logind::offer(const char* path, const char* interface) {
    static constexpr GDBusInterfaceVTable table{
        .method_call = onCall, .get_property = onGet, .set_property = nullptr, .padding = {}};
    g_dbus_connection_register_object(
        bus_.get(), path, g_dbus_node_info_lookup_interface(description_.get(), interface), &table,
        this, nullptr, nullptr);
}

void Logind::onCall(GDBusConnection* /*bus*/, const char* /*sender*/, const char* /*path*/,
                    const char* /*interface*/, const char* /*method*/, GVariant* arguments,
                    GDBusMethodInvocation* call, gpointer self) {
    const char* id = nullptr;
    g_variant_get(arguments, "(&s)", &id);
    if (std::string_view(id) != "auto" && std::string_view(id) != "7") {
        g_dbus_method_invocation_return_dbus_error(call, "org.freedesktop.login1.NoSuchSession",
                                                   "no such session");
        return;
    }
    ++static_cast<Logind*>(self)->asked_;
    g_dbus_method_invocation_return_value(call, g_variant_new("(o)", session));
}

GVariant* Logind::onGet(GDBusConnection* /*bus*/, const char* /*sender*/, const char* /*path*/,
                        const char* /*interface*/, const char* /*property*/, GError** /*error*/,
                        gpointer self) {
    auto* const logind = static_cast<Logind*>(self);
    logind->told_ = logind->told_ || logind->closes_;
    return g_variant_new_string(logind->closes_ ? "closing" : "online");
}

void Logind::emit(const char* path, const char* interface, const char* signal,
                  GVariant* arguments) const {
    g_dbus_connection_emit_signal(bus_.get(), nullptr, path, interface, signal, arguments, nullptr);
}

void Logind::prepareForShutdown(bool begins) const {
    emit(managerPath, managerInterface, "PrepareForShutdown",
         g_variant_new("(b)", begins ? TRUE : FALSE));
}

void Logind::removed(const char* id, const char* path) const {
    emit(managerPath, managerInterface, "SessionRemoved", g_variant_new("(so)", id, path));
}

void Logind::lockSession() const {
    emit(session, sessionInterface, "Lock", nullptr);
}

void Logind::deactivateSession(bool closes) {
    closes_ = closes;
    GVariantBuilder changed;
    g_variant_builder_init(&changed, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&changed, "{sv}", "Active", g_variant_new_boolean(FALSE));
    emit(session, "org.freedesktop.DBus.Properties", "PropertiesChanged",
         g_variant_new("(sa{sv}as)", sessionInterface, &changed, nullptr));
}

} // namespace desktop
