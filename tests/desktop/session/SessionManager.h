// The session manager of a desktop, as its clients see it on the session bus.
#pragma once

#include "tests/desktop/session/Waiting.h"

#include <gio/gio.h>

#include <stdexcept>
#include <string>

namespace desktop {

// The part of org.gnome.SessionManager that an application talks to, with one client at most. Its
// events are handled while waitFor() runs.
class SessionManager {
  public:
    explicit SessionManager(const std::string& busAddress)
        : bus_(g_dbus_connection_new_for_address_sync(
              busAddress.c_str(),
              static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
              nullptr, nullptr, nullptr))
        , description_(g_dbus_node_info_new_for_xml(interfaces, nullptr)) {
        if (bus_ == nullptr || description_ == nullptr) {
            throw std::runtime_error("cannot play the session manager");
        }
        offer("/org/gnome/SessionManager", "org.gnome.SessionManager");
        offer(client, "org.gnome.SessionManager.ClientPrivate");
        g_bus_own_name_on_connection(bus_, "org.gnome.SessionManager", G_BUS_NAME_OWNER_FLAGS_NONE,
                                     onOwned, nullptr, this, nullptr);
        (void)waitFor([this] { return owned_; });
    }

    ~SessionManager() {
        g_dbus_connection_close_sync(bus_, nullptr, nullptr);
        g_object_unref(bus_);
        g_dbus_node_info_unref(description_);
    }

    SessionManager(const SessionManager&) = delete;
    SessionManager& operator=(const SessionManager&) = delete;

    template <typename Condition>
    [[nodiscard]] static bool waitFor(Condition condition) {
        return eventually([&] {
            while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
            }
            return condition();
        });
    }

    [[nodiscard]] bool hasClient() const { return registered_; }

    // Asks whether the session may end; whether the client answered. An answer is always "yes":
    // a client that refuses inhibits the end before it answers.
    [[nodiscard]] bool ask() {
        answered_ = false;
        tell("QueryEndSession");
        return waitFor([this] { return answered_; });
    }

    void endSession() const { tell("EndSession"); }

    // Since it was asked last, if ever.
    [[nodiscard]] bool hasAnswered() const { return answered_; }

    [[nodiscard]] int inhibitors() const { return inhibitors_; }

  private:
    static constexpr const char* client = "/org/gnome/SessionManager/Client1";
    static constexpr const char* interfaces =
        "<node>"
        "<interface name='org.gnome.SessionManager'>"
        "<method name='RegisterClient'><arg type='s' direction='in'/><arg type='s' direction='in'/>"
        "<arg type='o' direction='out'/></method>"
        "<method name='UnregisterClient'><arg type='o' direction='in'/></method>"
        "<method name='Inhibit'><arg type='s' direction='in'/><arg type='u' direction='in'/>"
        "<arg type='s' direction='in'/><arg type='u' direction='in'/>"
        "<arg type='u' direction='out'/></method>"
        "<method name='Uninhibit'><arg type='u' direction='in'/></method>"
        "</interface>"
        "<interface name='org.gnome.SessionManager.ClientPrivate'>"
        "<method name='EndSessionResponse'><arg type='b' direction='in'/>"
        "<arg type='s' direction='in'/></method>"
        "</interface>"
        "</node>";

    static void onOwned(GDBusConnection* /*bus*/, const gchar* /*name*/, gpointer self) {
        static_cast<SessionManager*>(self)->owned_ = true;
    }

    static void onCall(GDBusConnection* /*bus*/, const gchar* /*sender*/, const gchar* /*path*/,
                       const gchar* /*interface*/, const gchar* method, GVariant* /*arguments*/,
                       GDBusMethodInvocation* call, gpointer self) {
        static_cast<SessionManager*>(self)->answer(method, call);
    }

    void offer(const char* path, const char* interface) {
        static constexpr GDBusInterfaceVTable table{
            .method_call = onCall, .get_property = nullptr, .set_property = nullptr, .padding = {}};
        g_dbus_connection_register_object(
            bus_, path, g_dbus_node_info_lookup_interface(description_, interface), &table, this,
            nullptr, nullptr);
    }

    void answer(const std::string& method, GDBusMethodInvocation* call) {
        GVariant* reply = nullptr;
        if (method == "RegisterClient") {
            registered_ = true;
            reply = g_variant_new("(o)", client);
        } else if (method == "Inhibit") {
            ++inhibitors_;
            reply = g_variant_new("(u)", 7U);
        } else if (method == "Uninhibit") {
            --inhibitors_;
        } else if (method == "EndSessionResponse") {
            answered_ = true;
        }
        g_dbus_method_invocation_return_value(call, reply);
    }

    void tell(const char* signal) const {
        g_dbus_connection_emit_signal(bus_, nullptr, client,
                                      "org.gnome.SessionManager.ClientPrivate", signal,
                                      g_variant_new("(u)", 0U), nullptr);
    }

    GDBusConnection* bus_;
    GDBusNodeInfo* description_;
    bool owned_ = false;
    bool registered_ = false;
    int inhibitors_ = 0;
    bool answered_ = false;
};

} // namespace desktop
