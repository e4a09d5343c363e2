#include "tests/desktop/session/SettingsPortal.h"

#include <stdexcept>
#include <string_view>

namespace desktop {
namespace {

using platform::gtk::GErrorPtr;

constexpr const char* name = "org.freedesktop.portal.Desktop";
constexpr const char* path = "/org/freedesktop/portal/desktop";
constexpr const char* interface = "org.freedesktop.portal.Settings";
constexpr const char* group = "org.freedesktop.appearance";
constexpr const char* key = "color-scheme";

void check(GError* error) {
    if (error != nullptr) {
        const GErrorPtr owned(error);
        throw std::runtime_error(error->message);
    }
}

GVariant* valueOf(ColourPreference preference) {
    return g_variant_new_uint32(static_cast<std::uint32_t>(preference));
}

// "Read" wraps the value twice, which is how it has always been; whoever reads copes with that.
GDBusMessage* answerTo(GDBusMessage* question, ColourPreference preference) {
    const char* askedGroup = nullptr;
    const char* askedKey = nullptr;
    GVariant* const body = g_dbus_message_get_body(question);
    if (body != nullptr && g_variant_is_of_type(body, G_VARIANT_TYPE("(ss)")) != FALSE) {
        g_variant_get(body, "(&s&s)", &askedGroup, &askedKey);
    }
    if (std::string_view(g_dbus_message_get_member(question)) != "Read" || askedGroup == nullptr ||
        std::string_view(askedGroup) != group || std::string_view(askedKey) != key) {
        return g_dbus_message_new_method_error_literal(
            question, "org.freedesktop.portal.Error.NotFound", "there is no such setting");
    }
    GDBusMessage* const answer = g_dbus_message_new_method_reply(question);
    g_dbus_message_set_body(answer,
                            g_variant_new("(v)", g_variant_new_variant(valueOf(preference))));
    return answer;
}

} // namespace

SettingsPortal::SettingsPortal(const PrivateSession& session, ColourPreference preference)
    : preference_(preference) {
    GError* error = nullptr;
    connection_.reset(g_dbus_connection_new_for_address_sync(
        session.environment.at("DBUS_SESSION_BUS_ADDRESS").c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    check(error);
    filter_ = g_dbus_connection_add_filter(connection_.get(), onMessage, this, nullptr);
    GVariant* const reply = g_dbus_connection_call_sync(
        connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", name, guint32{0}), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr, &error);
    check(error);
    g_variant_unref(reply);
}

SettingsPortal::~SettingsPortal() {
    g_dbus_connection_remove_filter(connection_.get(), filter_);
    g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
}

void SettingsPortal::set(ColourPreference preference) {
    preference_ = preference;
    g_dbus_connection_emit_signal(connection_.get(), nullptr, path, interface, "SettingChanged",
                                  g_variant_new("(ssv)", group, key, valueOf(preference)), nullptr);
    g_dbus_connection_flush_sync(connection_.get(), nullptr, nullptr);
}

GDBusMessage* SettingsPortal::onMessage(GDBusConnection* connection, GDBusMessage* message,
                                        gboolean incoming, gpointer self) {
    const char* const asked = g_dbus_message_get_interface(message);
    if (incoming == FALSE ||
        g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL ||
        asked == nullptr || std::string_view(asked) != interface) {
        return message;
    }
    const platform::gtk::GObjectPtr<GDBusMessage> answer(
        answerTo(message, static_cast<SettingsPortal*>(self)->preference_));
    g_dbus_connection_send_message(connection, answer.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                   nullptr, nullptr);
    g_object_unref(message);
    return nullptr;
}

} // namespace desktop
