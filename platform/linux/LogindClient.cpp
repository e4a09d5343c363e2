#include "platform/linux/LogindClient.h"

#include "platform/linux/GObjectPtr.h"

#include <string_view>
#include <utility>

namespace platform::desktop {
namespace {

constexpr const char* logind = "org.freedesktop.login1";
constexpr const char* managerPath = "/org/freedesktop/login1";
constexpr const char* managerInterface = "org.freedesktop.login1.Manager";
constexpr const char* sessionInterface = "org.freedesktop.login1.Session";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";
// The session of the caller, or the one on its user's display.
constexpr const char* ownSession = "auto";
constexpr int patienceMilliseconds = 10'000;

using gtk::VariantPtr;

struct Reply {
    VariantPtr value;
    bool isCancelled = false;
};

Reply finish(GObject* bus, GAsyncResult* result) {
    GError* error = nullptr;
    Reply reply{
        .value = VariantPtr(g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, &error))};
    reply.isCancelled = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE;
    g_clear_error(&error);
    return reply;
}

} // namespace

LogindClient::LogindClient(std::string sessionId, std::function<void()> ends)
    : sessionId_(std::move(sessionId))
    , ends_(std::move(ends))
    , follower_(G_BUS_TYPE_SYSTEM, {.came = [this](GDBusConnection* bus) { join(bus); },
                                    .went = [this](const std::string& /*trouble*/) { leave(); }}) {}

LogindClient::~LogindClient() {
    leave();
}

void LogindClient::join(GDBusConnection* bus) {
    bus_.reset(static_cast<GDBusConnection*>(g_object_ref(bus)));
    asking_.reset(g_cancellable_new());
    triedOwn_ = false;
    subscribe(managerInterface, "PrepareForShutdown", managerPath);
    subscribe(managerInterface, "SessionRemoved", managerPath);
    askForSession(ownSession);
}

void LogindClient::leave() {
    g_cancellable_cancel(asking_.get());
    for (const guint id : std::exchange(subscriptions_, {})) {
        g_dbus_connection_signal_unsubscribe(bus_.get(), id);
    }
    session_.clear();
    bus_.reset();
}

void LogindClient::subscribe(const char* interface, const char* signal, const char* path) {
    subscriptions_.push_back(
        g_dbus_connection_signal_subscribe(bus_.get(), logind, interface, signal, path, nullptr,
                                           G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this, nullptr));
}

void LogindClient::askForSession(const char* id) {
    g_dbus_connection_call(bus_.get(), logind, managerPath, managerInterface, "GetSession",
                           g_variant_new("(s)", id), G_VARIANT_TYPE("(o)"),
                           G_DBUS_CALL_FLAGS_NO_AUTO_START, patienceMilliseconds, asking_.get(),
                           onSession, this);
}

void LogindClient::onSession(GObject* bus, GAsyncResult* result, gpointer data) {
    const Reply reply = finish(bus, result);
    if (reply.isCancelled) {
        return; // `data` may be gone
    }
    auto* const self = static_cast<LogindClient*>(data);
    if (!reply.value) {
        if (!std::exchange(self->triedOwn_, true) && !self->sessionId_.empty()) {
            self->askForSession(self->sessionId_.c_str());
        }
        return;
    }
    const char* path = nullptr;
    g_variant_get(reply.value.get(), "(&o)", &path);
    self->session_ = path;
    self->subscribe(propertiesInterface, "PropertiesChanged", path);
}

void LogindClient::onSignal(GDBusConnection* /*bus*/, const char* /*sender*/, const char* /*path*/,
                            const char* /*interface*/, const char* signal, GVariant* arguments,
                            gpointer data) {
    auto* const self = static_cast<LogindClient*>(data);
    const std::string_view name(signal);
    if (name == "PropertiesChanged") {
        self->askForState();
    } else if (name == "PrepareForShutdown" &&
               g_variant_is_of_type(arguments, G_VARIANT_TYPE("(b)")) != FALSE) {
        gboolean begins = FALSE;
        g_variant_get(arguments, "(b)", &begins);
        if (begins != FALSE) {
            self->ends_();
        }
    } else if (name == "SessionRemoved" &&
               g_variant_is_of_type(arguments, G_VARIANT_TYPE("(so)")) != FALSE) {
        const char* path = nullptr;
        g_variant_get(arguments, "(&s&o)", nullptr, &path);
        if (self->session_ == path) {
            self->ends_();
        }
    }
}

// The state itself tells nobody that it changes, but what changes with it (Active) does. A session
// whose processes are still there is not removed, only closing.
void LogindClient::askForState() {
    g_dbus_connection_call(bus_.get(), logind, session_.c_str(), propertiesInterface, "Get",
                           g_variant_new("(ss)", sessionInterface, "State"), G_VARIANT_TYPE("(v)"),
                           G_DBUS_CALL_FLAGS_NO_AUTO_START, patienceMilliseconds, asking_.get(),
                           onState, this);
}

void LogindClient::onState(GObject* bus, GAsyncResult* result, gpointer data) {
    const Reply reply = finish(bus, result);
    if (reply.isCancelled || !reply.value) {
        return;
    }
    GVariant* state = nullptr;
    g_variant_get(reply.value.get(), "(v)", &state);
    const VariantPtr owned(state);
    if (g_variant_is_of_type(state, G_VARIANT_TYPE_STRING) != FALSE &&
        std::string_view(g_variant_get_string(state, nullptr)) == "closing") {
        static_cast<LogindClient*>(data)->ends_();
    }
}

} // namespace platform::desktop
