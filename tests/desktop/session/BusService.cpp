#include "tests/desktop/session/BusService.h"

#include <stdexcept>
#include <utility>

namespace desktop {
namespace {

using platform::gtk::GErrorPtr;
using platform::gtk::GObjectPtr;
using platform::gtk::VariantPtr;

void check(GError* error) {
    if (error != nullptr) {
        const GErrorPtr owned(error);
        throw std::runtime_error(error->message);
    }
}

} // namespace

BusService::BusService(const PrivateSession& session, const char* name, std::string interface,
                       Answer answer)
    : interface_(std::move(interface))
    , answer_(std::move(answer)) {
    GError* error = nullptr;
    connection_.reset(g_dbus_connection_new_for_address_sync(
        session.environment.at("DBUS_SESSION_BUS_ADDRESS").c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    check(error);
    filter_ = g_dbus_connection_add_filter(connection_.get(), onMessage, this, nullptr);
    const VariantPtr reply(g_dbus_connection_call_sync(
        connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", name, guint32{0}), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr, &error));
    check(error);
}

BusService::~BusService() {
    g_dbus_connection_remove_filter(connection_.get(), filter_);
    g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
}

void BusService::emit(const char* path, const char* signal, GVariant* parameters) const {
    g_dbus_connection_emit_signal(connection_.get(), nullptr, path, interface_.c_str(), signal,
                                  parameters, nullptr);
    g_dbus_connection_flush_sync(connection_.get(), nullptr, nullptr);
}

GDBusMessage* BusService::onMessage(GDBusConnection* connection, GDBusMessage* message,
                                    gboolean incoming, gpointer self) {
    const auto* const service = static_cast<BusService*>(self);
    const char* const asked = g_dbus_message_get_interface(message);
    if (incoming == FALSE ||
        g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL ||
        asked == nullptr || service->interface_ != asked) {
        return message;
    }
    const GObjectPtr<GDBusMessage> answer(service->answer_(message));
    g_dbus_connection_send_message(connection, answer.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                   nullptr, nullptr);
    g_object_unref(message);
    return nullptr;
}

} // namespace desktop
