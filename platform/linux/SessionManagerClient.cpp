#include "platform/linux/SessionManagerClient.h"

#include <array>
#include <string_view>
#include <utility>

namespace platform::desktop {
namespace {

struct Manager {
    const char* name;
    const char* path;
    const char* interface;
    const char* client; // the interface of its clients
};

constexpr std::array managers = {
    Manager{.name = "org.gnome.SessionManager",
            .path = "/org/gnome/SessionManager",
            .interface = "org.gnome.SessionManager",
            .client = "org.gnome.SessionManager.ClientPrivate"},
    Manager{.name = "org.xfce.SessionManager",
            .path = "/org/xfce/SessionManager",
            .interface = "org.xfce.Session.Manager",
            .client = "org.xfce.Session.Client"},
};

// Of the method Inhibit: logging out.
constexpr guint32 logOut = 1;

using gtk::VariantPtr;

} // namespace

SessionManagerClient::SessionManagerClient(GDBusConnection* bus, std::string applicationId,
                                           std::string startupId, Answers answers)
    : bus_(static_cast<GDBusConnection*>(g_object_ref(bus)))
    , applicationId_(std::move(applicationId))
    , startupId_(std::move(startupId))
    , answers_(std::move(answers)) {
    registerWith(0);
}

SessionManagerClient::~SessionManagerClient() {
    g_cancellable_cancel(asking_.get());
    unsubscribe();
}

void SessionManagerClient::unsubscribe() {
    if (subscription_ != 0) {
        g_dbus_connection_signal_unsubscribe(bus_.get(), std::exchange(subscription_, 0));
    }
}

// Signals are listened for first: the first may follow the answer at once.
void SessionManagerClient::registerWith(std::size_t manager) {
    manager_ = manager;
    const Manager& to = managers.at(manager);
    unsubscribe();
    subscription_ = g_dbus_connection_signal_subscribe(bus_.get(), nullptr, to.client, nullptr,
                                                       nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                                       onSignal, this, nullptr);
    g_dbus_connection_call(bus_.get(), to.name, to.path, to.interface, "RegisterClient",
                           g_variant_new("(ss)", applicationId_.c_str(), startupId_.c_str()),
                           G_VARIANT_TYPE("(o)"), G_DBUS_CALL_FLAGS_NO_AUTO_START, -1,
                           asking_.get(), onRegistered, this);
}

void SessionManagerClient::onRegistered(GObject* bus, GAsyncResult* result, gpointer data) {
    GError* error = nullptr;
    const VariantPtr reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, &error));
    const gtk::GErrorPtr failure(error);
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE) {
        return; // `data` may be gone
    }
    auto* const self = static_cast<SessionManagerClient*>(data);
    if (!reply) {
        if (self->manager_ + 1 < managers.size()) {
            self->registerWith(self->manager_ + 1);
        } else {
            self->unsubscribe();
        }
        return;
    }
    const char* path = nullptr;
    g_variant_get(reply.get(), "(&o)", &path);
    self->clientPath_ = path;
}

void SessionManagerClient::onSignal(GDBusConnection* /*bus*/, const char* /*sender*/,
                                    const char* path, const char* /*interface*/, const char* signal,
                                    GVariant* /*arguments*/, gpointer data) {
    auto* const self = static_cast<SessionManagerClient*>(data);
    if (self->clientPath_ != path) {
        return; // of another client
    }
    const std::string_view name(signal);
    if (name == "QueryEndSession") {
        self->asked();
    } else if (name == "EndSession") {
        self->respond();
        self->answers_.ends();
    } else if (name == "Stop") {
        self->answers_.ends();
    }
}

// Ending is left to the session manager's second message: a session that another application keeps
// alive keeps this one too. A refusal is told before the answer, so that it counts.
void SessionManagerClient::asked() {
    if (answers_.mayEnd()) {
        uninhibit();
    } else {
        inhibit();
    }
    respond();
}

void SessionManagerClient::respond() {
    g_dbus_connection_call(bus_.get(), managers.at(manager_).name, clientPath_.c_str(),
                           managers.at(manager_).client, "EndSessionResponse",
                           g_variant_new("(bs)", TRUE, ""), nullptr,
                           G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, nullptr, nullptr);
}

void SessionManagerClient::inhibit() {
    if (std::exchange(refusing_, true)) {
        return;
    }
    const Manager& to = managers.at(manager_);
    g_dbus_connection_call(bus_.get(), to.name, to.path, to.interface, "Inhibit",
                           g_variant_new("(susu)", applicationId_.c_str(), guint32{0}, "", logOut),
                           G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NO_AUTO_START, -1,
                           asking_.get(), onInhibited, this);
}

void SessionManagerClient::onInhibited(GObject* bus, GAsyncResult* result, gpointer data) {
    GError* error = nullptr;
    const VariantPtr reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, &error));
    const gtk::GErrorPtr failure(error);
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE || !reply) {
        return;
    }
    auto* const self = static_cast<SessionManagerClient*>(data);
    g_variant_get(reply.get(), "(u)", &self->refusal_);
    if (!self->refusing_) {
        self->uninhibit();
    }
}

void SessionManagerClient::uninhibit() {
    refusing_ = false;
    if (const guint32 cookie = std::exchange(refusal_, 0); cookie != 0) {
        const Manager& to = managers.at(manager_);
        g_dbus_connection_call(bus_.get(), to.name, to.path, to.interface, "Uninhibit",
                               g_variant_new("(u)", cookie), nullptr,
                               G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, nullptr, nullptr);
    }
}

} // namespace platform::desktop
