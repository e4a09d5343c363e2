#include "platform/linux/tray/TrayRegistration.h"

#include <fmt/format.h>

#include <utility>

namespace platform::tray {
namespace {

constexpr const char* watcherName = "org.kde.StatusNotifierWatcher";
constexpr const char* watcherPath = "/StatusNotifierWatcher";
constexpr const char* busService = "org.freedesktop.DBus";
constexpr const char* busPath = "/org/freedesktop/DBus";
// The flag DBUS_NAME_FLAG_DO_NOT_QUEUE of RequestName, and what it replies.
constexpr guint32 doNotQueue = 4;
constexpr guint32 primaryOwner = 1;
constexpr int replyPatienceMilliseconds = 10000;

bool wasCancelled(const gtk::GErrorPtr& error) {
    return g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE;
}

struct Reply {
    std::unique_ptr<GVariant, decltype(&g_variant_unref)> value{nullptr, &g_variant_unref};
    gtk::GErrorPtr error;
};

Reply finish(GObject* connection, GAsyncResult* result) {
    Reply reply;
    GError* error = nullptr;
    reply.value.reset(g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error));
    reply.error.reset(error);
    return reply;
}

} // namespace

TrayRegistration::TrayRegistration(GDBusConnection* connection, std::string busName,
                                   std::function<void(bool)> onChanged,
                                   std::function<void()> onNewHost, Log& log)
    : connection_(static_cast<GDBusConnection*>(g_object_ref(connection)))
    , busName_(std::move(busName))
    , onChanged_(std::move(onChanged))
    , onNewHost_(std::move(onNewHost))
    , log_(log) {
    // Not by g_bus_own_name(): giving that up waits for the bus, which may not answer.
    g_dbus_connection_call(connection, busService, busPath, busService, "RequestName",
                           g_variant_new("(su)", busName_.c_str(), doNotQueue),
                           G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, naming_.get(),
                           onNamed, this);
    watchId_ =
        g_bus_watch_name_on_connection(connection, watcherName, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                       onAppeared, onVanished, this, nullptr);
}

TrayRegistration::~TrayRegistration() {
    forgetWatcher();
    g_bus_unwatch_name(watchId_);
    g_cancellable_cancel(naming_.get());
    g_dbus_connection_call(connection_.get(), busService, busPath, busService, "ReleaseName",
                           g_variant_new("(s)", busName_.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE,
                           -1, nullptr, nullptr, nullptr);
}

void TrayRegistration::onNamed(GObject* connection, GAsyncResult* result, gpointer self) {
    const Reply reply = finish(connection, result);
    if (wasCancelled(reply.error)) {
        return; // `self` may be gone
    }
    guint32 answer = 0;
    if (reply.value) {
        g_variant_get(reply.value.get(), "(u)", &answer);
    }
    auto* const registration = static_cast<TrayRegistration*>(self);
    registration->nameOwned_ = answer == primaryOwner;
    registration->registerItem();
}

// A watcher that is replaced vanishes first.
void TrayRegistration::onAppeared(GDBusConnection* connection, const char* /*name*/,
                                  const char* owner, gpointer self) {
    auto* const registration = static_cast<TrayRegistration*>(self);
    registration->forgetWatcher();
    registration->watcher_ = owner;
    registration->calls_.reset(g_cancellable_new());
    for (const char* signal : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"}) {
        registration->hostSignals_.push_back(g_dbus_connection_signal_subscribe(
            connection, owner, watcherName, signal, watcherPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
            onHostSignal, self, nullptr));
    }
    registration->registerItem();
}

void TrayRegistration::onVanished(GDBusConnection* /*connection*/, const char* /*name*/,
                                  gpointer self) {
    auto* const registration = static_cast<TrayRegistration*>(self);
    registration->forgetWatcher();
    registration->tell(false);
}

void TrayRegistration::forgetWatcher() {
    registered_ = false;
    watcher_.clear();
    if (calls_) {
        g_cancellable_cancel(calls_.get());
        calls_.reset();
    }
    for (const guint id : std::exchange(hostSignals_, {})) {
        g_dbus_connection_signal_unsubscribe(connection_.get(), id);
    }
}

void TrayRegistration::registerItem() {
    if (!nameOwned_ || watcher_.empty()) {
        return;
    }
    g_dbus_connection_call(connection_.get(), watcher_.c_str(), watcherPath, watcherName,
                           "RegisterStatusNotifierItem", g_variant_new("(s)", busName_.c_str()),
                           nullptr, G_DBUS_CALL_FLAGS_NONE, replyPatienceMilliseconds, calls_.get(),
                           onRegistered, this);
}

void TrayRegistration::onRegistered(GObject* connection, GAsyncResult* result, gpointer self) {
    const Reply reply = finish(connection, result);
    if (wasCancelled(reply.error)) {
        return; // `self` may be gone
    }
    auto* const registration = static_cast<TrayRegistration*>(self);
    if (reply.error) {
        registration->log_.write(
            fmt::format("the tray does not take the item: {}", reply.error->message));
        registration->tell(false);
        return;
    }
    registration->registered_ = true;
    registration->onNewHost_();
    registration->askForHost();
}

void TrayRegistration::onHostSignal(GDBusConnection* /*connection*/, const char* /*sender*/,
                                    const char* /*path*/, const char* /*interface*/,
                                    const char* signal, GVariant* /*parameters*/, gpointer self) {
    auto* const registration = static_cast<TrayRegistration*>(self);
    if (registration->registered_) {
        if (std::string_view(signal) == "StatusNotifierHostRegistered") {
            registration->onNewHost_();
        }
        registration->askForHost();
    }
}

void TrayRegistration::askForHost() {
    g_dbus_connection_call(
        connection_.get(), watcher_.c_str(), watcherPath, "org.freedesktop.DBus.Properties", "Get",
        g_variant_new("(ss)", watcherName, "IsStatusNotifierHostRegistered"), nullptr,
        G_DBUS_CALL_FLAGS_NONE, replyPatienceMilliseconds, calls_.get(), onHostKnown, this);
}

void TrayRegistration::onHostKnown(GObject* connection, GAsyncResult* result, gpointer self) {
    const Reply reply = finish(connection, result);
    if (wasCancelled(reply.error)) {
        return;
    }
    bool hasHost = true;
    if (reply.value && g_variant_is_of_type(reply.value.get(), G_VARIANT_TYPE("(v)")) != FALSE) {
        GVariant* content = nullptr;
        g_variant_get(reply.value.get(), "(v)", &content);
        hasHost = g_variant_is_of_type(content, G_VARIANT_TYPE_BOOLEAN) == FALSE ||
                  g_variant_get_boolean(content) != FALSE;
        g_variant_unref(content);
    }
    static_cast<TrayRegistration*>(self)->tell(hasHost);
}

void TrayRegistration::tell(bool inTray) {
    if (told_ != inTray) {
        told_ = inTray;
        onChanged_(inTray);
    }
}

} // namespace platform::tray
