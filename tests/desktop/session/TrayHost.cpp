#include "tests/desktop/session/TrayHost.h"

#include "tests/desktop/session/Waiting.h"

#include <algorithm>
#include <stdexcept>

namespace desktop {
namespace {

using platform::gtk::GErrorPtr;

constexpr const char* watcherName = "org.kde.StatusNotifierWatcher";
constexpr const char* itemInterface = "org.kde.StatusNotifierItem";
constexpr const char* busName = "org.freedesktop.DBus";

constexpr const char* watcherIntrospection = R"xml(<node>
  <interface name="org.kde.StatusNotifierWatcher">
    <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
    <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  </interface>
</node>)xml";

GDBusInterfaceInfo* watcherInterface() {
    static GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(watcherIntrospection, nullptr);
    return node->interfaces[0];
}

} // namespace

TrayHost::TrayHost(const DesktopSession& session) {
    GError* error = nullptr;
    connection_.reset(g_dbus_connection_new_for_address_sync(
        session.environment.at("DBUS_SESSION_BUS_ADDRESS").c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    if (!connection_) {
        throw std::runtime_error(GErrorPtr(error)->message);
    }
    static constexpr GDBusInterfaceVTable calls{
        .method_call = onCall, .get_property = onGet, .set_property = nullptr, .padding = {}};
    object_ = g_dbus_connection_register_object(connection_.get(), "/StatusNotifierWatcher",
                                                watcherInterface(), &calls, this, nullptr, nullptr);
    (void)call(busName, "/org/freedesktop/DBus", busName, "RequestName",
               g_variant_new("(su)", watcherName, guint32{0}));
}

TrayHost::~TrayHost() {
    g_dbus_connection_unregister_object(connection_.get(), object_);
    g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
}

void TrayHost::onCall(GDBusConnection* /*connection*/, const char* sender, const char* /*path*/,
                      const char* /*interface*/, const char* /*method*/, GVariant* parameters,
                      GDBusMethodInvocation* invocation, gpointer self) {
    const char* service = nullptr;
    g_variant_get(parameters, "(&s)", &service);
    // A bus name, or the path of an object of the caller's.
    static_cast<TrayHost*>(self)->item_ = *service == '/' ? sender : service;
    g_dbus_method_invocation_return_value(invocation, nullptr);
}

GVariant* TrayHost::onGet(GDBusConnection* /*connection*/, const char* /*sender*/,
                          const char* /*path*/, const char* /*interface*/, const char* /*property*/,
                          GError** /*error*/, gpointer self) {
    static_cast<TrayHost*>(self)->hostWasAskedFor_ = true;
    return g_variant_new_boolean(TRUE);
}

bool TrayHost::hasItem() {
    return eventually([this] {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        return !item_.empty() && hostWasAskedFor_ && hasMenu();
    });
}

// The menu's object may come to the bus a moment after its item has registered; it announces itself
// then, by LayoutUpdated.
bool TrayHost::hasMenu() const {
    try {
        (void)menu("AboutToShow", g_variant_new("(i)", 0));
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

TrayHost::Variant TrayHost::call(const char* name, const char* path, const char* interface,
                                 const char* method, GVariant* parameters) const {
    GError* error = nullptr;
    GVariant* const reply =
        g_dbus_connection_call_sync(connection_.get(), name, path, interface, method, parameters,
                                    nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (reply == nullptr) {
        throw std::runtime_error(std::string(method) + ": " + GErrorPtr(error)->message);
    }
    return {reply, &g_variant_unref};
}

TrayHost::Variant TrayHost::property(const char* name) const {
    const Variant reply =
        call(item_.c_str(), "/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get",
             g_variant_new("(ss)", itemInterface, name));
    GVariant* value = nullptr;
    g_variant_get(reply.get(), "(v)", &value);
    return {value, &g_variant_unref};
}

std::string TrayHost::text(const char* name) const {
    return g_variant_get_string(property(name).get(), nullptr);
}

std::string TrayHost::toolTip() const {
    const char* title = nullptr;
    const char* description = nullptr;
    const Variant value = property("ToolTip");
    g_variant_get(value.get(), "(&sa(iiay)&s&s)", nullptr, nullptr, &title, &description);
    return *description == '\0' ? title : std::string(title) + "\n" + description;
}

TrayHost::Variant TrayHost::menu(const char* method, GVariant* parameters) const {
    return call(item_.c_str(), text("Menu").c_str(), "com.canonical.dbusmenu", method, parameters);
}

std::vector<std::string> TrayHost::openMenu() {
    const char* const everyProperty[] = {nullptr};
    (void)menu("AboutToShow", g_variant_new("(i)", 0));
    layout_ = traymenu::readLayout(
        menu("GetLayout", g_variant_new("(ii^as)", 0, -1, everyProperty)).get());
    return layout_.items;
}

void TrayHost::click(const std::string& item) {
    const auto found = std::ranges::find(layout_.items, item);
    if (found == layout_.items.end()) {
        throw std::runtime_error("the menu has no item " + item);
    }
    const int id = layout_.ids.at(static_cast<std::size_t>(found - layout_.items.begin()));
    (void)menu("Event", g_variant_new("(isvu)", id, "clicked", g_variant_new_int32(0), guint32{0}));
}

} // namespace desktop
