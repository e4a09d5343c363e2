#include "platform/linux/window/ColourScheme.h"

#include <gtk/gtk.h>

#include <string_view>
#include <utility>

namespace platform::gtk {
namespace {

constexpr const char* portal = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* settings = "org.freedesktop.portal.Settings";
constexpr const char* appearance = "org.freedesktop.appearance";
constexpr const char* colourScheme = "color-scheme";
constexpr const char* toolkitsChoice = "gtk-application-prefer-dark-theme";
// The values of the setting; every other stands for no preference.
constexpr guint32 preferDark = 1;
constexpr guint32 preferLight = 2;
constexpr int patienceMilliseconds = 5000;

// The portal packs the value in as many variants as it likes.
void apply(GVariant* value) {
    VariantPtr inner(g_variant_ref(value));
    while (g_variant_is_of_type(inner.get(), G_VARIANT_TYPE_VARIANT) != FALSE) {
        inner.reset(g_variant_get_variant(inner.get()));
    }
    if (g_variant_is_of_type(inner.get(), G_VARIANT_TYPE_UINT32) == FALSE) {
        return;
    }
    const guint32 scheme = g_variant_get_uint32(inner.get());
    GtkSettings* const toolkit = gtk_settings_get_default();
    if (scheme == preferDark || scheme == preferLight) {
        g_object_set(toolkit, toolkitsChoice, scheme == preferDark ? TRUE : FALSE, nullptr);
    } else {
        gtk_settings_reset_property(toolkit, toolkitsChoice);
    }
}

} // namespace

ColourScheme::ColourScheme() {
    g_bus_get(G_BUS_TYPE_SESSION, calls_.get(), onBus, this);
}

ColourScheme::~ColourScheme() {
    g_cancellable_cancel(calls_.get());
    if (connection_) {
        g_bus_unwatch_name(portal_);
        g_dbus_connection_signal_unsubscribe(connection_.get(), changes_);
    }
}

void ColourScheme::onBus(GObject* /*source*/, GAsyncResult* result, gpointer data) {
    GObjectPtr<GDBusConnection> connection(g_bus_get_finish(result, nullptr));
    if (!connection) {
        return; // no bus, or `data` is gone
    }
    auto* const self = static_cast<ColourScheme*>(data);
    self->connection_ = std::move(connection);
    // A session without its bus has windows all the same.
    g_dbus_connection_set_exit_on_close(self->connection_.get(), FALSE);
    self->changes_ = g_dbus_connection_signal_subscribe(
        self->connection_.get(), portal, settings, "SettingChanged", portalPath, appearance,
        G_DBUS_SIGNAL_FLAGS_NONE, onChanged, self, nullptr);
    self->portal_ = g_bus_watch_name_on_connection(self->connection_.get(), portal,
                                                   G_BUS_NAME_WATCHER_FLAGS_AUTO_START, onPortal,
                                                   nullptr, self, nullptr);
}

// The portal's older question, which every version of it answers.
void ColourScheme::onPortal(GDBusConnection* connection, const char* /*name*/,
                            const char* /*owner*/, gpointer self) {
    g_dbus_connection_call(connection, portal, portalPath, settings, "Read",
                           g_variant_new("(ss)", appearance, colourScheme), G_VARIANT_TYPE("(v)"),
                           G_DBUS_CALL_FLAGS_NONE, patienceMilliseconds,
                           static_cast<ColourScheme*>(self)->calls_.get(), onRead, nullptr);
}

void ColourScheme::onRead(GObject* connection, GAsyncResult* result, gpointer /*nothing*/) {
    const VariantPtr reply(
        g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr));
    if (reply) {
        const VariantPtr value(g_variant_get_child_value(reply.get(), 0));
        apply(value.get());
    }
}

void ColourScheme::onChanged(GDBusConnection* /*connection*/, const char* /*sender*/,
                             const char* /*path*/, const char* /*interface*/,
                             const char* /*signal*/, GVariant* parameters, gpointer /*self*/) {
    const char* key = nullptr;
    GVariant* value = nullptr;
    if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ssv)")) == FALSE) {
        return;
    }
    g_variant_get(parameters, "(&s&sv)", nullptr, &key, &value);
    const VariantPtr owned(value);
    if (std::string_view(key) == colourScheme) {
        apply(value);
    }
}

} // namespace platform::gtk
