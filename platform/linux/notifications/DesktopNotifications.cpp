#include "platform/linux/notifications/DesktopNotifications.h"

#include "platform/linux/GObjectPtr.h"

#include <fmt/format.h>
#include <gio/gio.h>

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

namespace platform::desktop {
namespace {

constexpr const char* service = "org.freedesktop.Notifications";
constexpr const char* path = "/org/freedesktop/Notifications";
constexpr const char* defaultAction = "default"; // what a click on the notification itself is
constexpr const char* buttonAction = "open";
constexpr int patience = 10'000; // milliseconds
constexpr std::uint8_t normalUrgency = 1;
constexpr std::uint8_t criticalUrgency = 2;

using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

} // namespace

// One notice, from the call that shows it until it is closed, opened or replaced. It keeps itself
// alive as long as a call is under way.
struct DesktopNotifications::Shown : std::enable_shared_from_this<Shown> {
    Shown(std::string applicationName, std::string applicationId, Log& applicationLog)
        : name(std::move(applicationName))
        , desktopEntry(std::move(applicationId))
        , log(applicationLog) {}
    Shown(const Shown&) = delete;
    Shown& operator=(const Shown&) = delete;
    ~Shown() { leaveBus(); }

    using Holder = std::unique_ptr<std::shared_ptr<Shown>>;
    gpointer held() {
        return std::make_unique<std::shared_ptr<Shown>>(shared_from_this()).release();
    }
    static std::shared_ptr<Shown> release(gpointer data) {
        return *Holder(static_cast<std::shared_ptr<Shown>*>(data));
    }

    void begin() { g_bus_get(G_BUS_TYPE_SESSION, nullptr, onBus, held()); }

    static void onBus(GObject* /*source*/, GAsyncResult* result, gpointer data) {
        const auto self = release(data);
        GError* error = nullptr;
        GDBusConnection* const bus = g_bus_get_finish(result, &error);
        if (bus == nullptr) {
            self->fail(error);
            return;
        }
        self->connection.reset(bus);
        // Its end is not ours.
        g_dbus_connection_set_exit_on_close(bus, FALSE);
        self->closedHandler = g_signal_connect(bus, "closed", G_CALLBACK(onClosedBus), self.get());
        if (!self->withdrawn) {
            self->notify();
        }
    }

    // Nobody would answer any more, and GLib needs the connection given back to make another.
    static void onClosedBus(GDBusConnection* /*bus*/, gboolean /*remotePeerVanished*/,
                            GError* /*error*/, gpointer data) {
        static_cast<Shown*>(data)->leaveBus();
    }

    void leaveBus() {
        forget();
        if (connection) {
            g_signal_handler_disconnect(connection.get(), std::exchange(closedHandler, 0));
            connection.reset();
        }
    }

    void notify() {
        for (const char* signal : {"ActionInvoked", "ActivationToken", "NotificationClosed"}) {
            subscriptions[subscribed++] = g_dbus_connection_signal_subscribe(
                connection.get(), service, service, signal, path, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                onSignal, this, nullptr);
        }
        subscriptions[subscribed++] = g_dbus_connection_signal_subscribe(
            connection.get(), "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
            "/org/freedesktop/DBus", service, G_DBUS_SIGNAL_FLAGS_NONE, onOwnerChanged, this,
            nullptr);
        GVariantBuilder actions;
        g_variant_builder_init(&actions, G_VARIANT_TYPE("as"));
        if (!content.action.empty()) {
            for (const char* word :
                 {defaultAction, content.action.c_str(), buttonAction, content.action.c_str()}) {
                g_variant_builder_add(&actions, "s", word);
            }
        }
        GVariantBuilder hints;
        g_variant_builder_init(&hints, G_VARIANT_TYPE("a{sv}"));
        g_variant_builder_add(&hints, "{sv}", "desktop-entry",
                              g_variant_new_string(desktopEntry.c_str()));
        g_variant_builder_add(
            &hints, "{sv}", "urgency",
            g_variant_new_byte(content.isCritical ? criticalUrgency : normalUrgency));
        g_dbus_connection_call(
            connection.get(), service, path, service, "Notify",
            g_variant_new("(susssasa{sv}i)", name.c_str(), std::uint32_t{0}, desktopEntry.c_str(),
                          content.title.c_str(), content.text.c_str(), &actions, &hints, -1),
            G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, patience, nullptr, onNotified, held());
    }

    static void onNotified(GObject* connection, GAsyncResult* result, gpointer data) {
        const auto self = release(data);
        GError* error = nullptr;
        const Variant reply(
            g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error),
            &g_variant_unref);
        if (!reply) {
            self->fail(error);
            return;
        }
        if (!self->connection) {
            return; // the bus has ended since
        }
        g_variant_get(reply.get(), "(u)", &self->id);
        if (self->withdrawn) {
            self->close();
        }
    }

    static void onSignal(GDBusConnection* /*connection*/, const char* /*sender*/,
                         const char* /*path*/, const char* /*interface*/, const char* signal,
                         GVariant* parameters, gpointer data) {
        const auto self = static_cast<Shown*>(data)->shared_from_this();
        if (self->id == 0 || g_variant_n_children(parameters) != 2) {
            return;
        }
        const Variant first(g_variant_get_child_value(parameters, 0), &g_variant_unref);
        const Variant second(g_variant_get_child_value(parameters, 1), &g_variant_unref);
        if (!g_variant_is_of_type(first.get(), G_VARIANT_TYPE_UINT32) ||
            g_variant_get_uint32(first.get()) != self->id) {
            return;
        }
        const auto text = [&second]() -> std::string {
            return g_variant_is_of_type(second.get(), G_VARIANT_TYPE_STRING)
                       ? g_variant_get_string(second.get(), nullptr)
                       : "";
        };
        if (signal == std::string_view("ActivationToken")) {
            self->token = text();
        } else if (signal == std::string_view("NotificationClosed")) {
            self->forget();
        } else if (const auto action = text(); action == defaultAction || action == buttonAction) {
            self->open();
        }
    }

    // Whoever comes after the one that showed it numbers its own notices from 1 again.
    static void onOwnerChanged(GDBusConnection* /*connection*/, const char* /*sender*/,
                               const char* /*path*/, const char* /*interface*/,
                               const char* /*signal*/, GVariant* /*parameters*/, gpointer data) {
        const auto self = static_cast<Shown*>(data)->shared_from_this();
        if (self->id != 0) {
            self->forget();
        }
    }

    // A copy: what is opened may withdraw this notice.
    void open() {
        const auto follow = std::exchange(opened, {});
        if (follow) {
            opening(token);
            follow();
        }
    }

    void withdraw() {
        withdrawn = true;
        opened = {};
        if (id != 0) {
            close();
        }
    }

    // The answer is waited for: a connection that nobody holds any more sends nothing.
    void close() {
        g_dbus_connection_call(connection.get(), service, path, service, "CloseNotification",
                               g_variant_new("(u)", id), nullptr, G_DBUS_CALL_FLAGS_NONE, patience,
                               nullptr, onClosed, held());
        forget();
    }

    static void onClosed(GObject* bus, GAsyncResult* result, gpointer data) {
        const auto self = release(data);
        const Variant reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, nullptr),
                            &g_variant_unref);
    }

    void forget() {
        for (; subscribed > 0; --subscribed) {
            g_dbus_connection_signal_unsubscribe(connection.get(), subscriptions[subscribed - 1]);
        }
        id = 0;
    }

    void fail(GError* error) {
        const gtk::GErrorPtr failure(error);
        if (!withdrawn) {
            log.write(fmt::format("no notification could be shown: {}", failure->message));
        }
        forget();
    }

    std::string name;
    std::string desktopEntry;
    Log& log;
    appcast::UpdateNotification content;
    std::function<void()> opened;
    std::function<void(const std::string&)> opening;
    gtk::GObjectPtr<GDBusConnection> connection;
    gulong closedHandler = 0;
    std::array<guint, 4> subscriptions{};
    std::size_t subscribed = 0;
    std::uint32_t id = 0; // 0: not known yet, or not there any more
    std::string token;
    bool withdrawn = false;
};

DesktopNotifications::DesktopNotifications(std::string applicationName, std::string applicationId,
                                           std::function<void(const std::string&)> opening,
                                           Log& log)
    : applicationName_(std::move(applicationName))
    , applicationId_(std::move(applicationId))
    , opening_(std::move(opening))
    , log_(log) {}

DesktopNotifications::~DesktopNotifications() {
    withdraw();
}

void DesktopNotifications::show(const appcast::UpdateNotification& notification,
                                std::function<void()> opened) {
    withdraw();
    shown_ = std::make_shared<Shown>(applicationName_, applicationId_, log_);
    shown_->content = notification;
    shown_->opened = std::move(opened);
    shown_->opening = opening_;
    shown_->begin();
}

void DesktopNotifications::withdraw() {
    if (const auto shown = std::exchange(shown_, nullptr)) {
        shown->withdraw();
    }
}

} // namespace platform::desktop
