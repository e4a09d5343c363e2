#include "platform/linux/bus/BusFollower.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace platform::desktop {

BusFollower::BusFollower(GBusType type, Events events, Pauses pauses)
    : type_(type)
    , events_(std::move(events))
    , pauses_(pauses)
    , nextPause_(pauses.first) {
    connect();
}

BusFollower::~BusFollower() {
    if (attempt_ != nullptr) {
        attempt_->follower = nullptr;
    }
    if (timer_ != 0) {
        g_source_remove(timer_);
    }
    letGo();
}

// It cannot be cancelled: others may wait for the same connection, and would be told that it was.
void BusFollower::connect() {
    attempt_ = std::make_unique<Attempt>(this).release();
    g_bus_get(type_, nullptr, onConnected, attempt_);
}

void BusFollower::onConnected(GObject* /*source*/, GAsyncResult* result, gpointer data) {
    GError* error = nullptr;
    gtk::GObjectPtr<GDBusConnection> bus(g_bus_get_finish(result, &error));
    const gtk::GErrorPtr failure(error);
    if (bus) {
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    }
    const std::unique_ptr<Attempt> attempt(static_cast<Attempt*>(data));
    BusFollower* const self = attempt->follower;
    if (self == nullptr) {
        return;
    }
    self->attempt_ = nullptr;
    if (!bus) {
        self->failed(failure->message);
        return;
    }
    if (g_dbus_connection_is_closed(bus.get()) != FALSE) {
        self->failed({}); // the old one: somebody still holds it
        return;
    }
    self->nextPause_ = self->pauses_.first;
    self->everCame_ = true;
    self->closedHandler_ = g_signal_connect(bus.get(), "closed", G_CALLBACK(onClosed), self);
    self->connection_ = std::move(bus);
    self->events_.came(self->connection_.get());
}

void BusFollower::failed(const std::string& trouble) {
    if (everCame_) {
        pause();
    } else {
        events_.went(trouble);
    }
}

void BusFollower::onClosed(GDBusConnection* /*bus*/, gboolean /*remotePeerVanished*/,
                           GError* /*error*/, gpointer data) {
    auto* const self = static_cast<BusFollower*>(data);
    self->letGo();
    self->pause();
    self->events_.went({});
}

void BusFollower::letGo() {
    if (connection_) {
        g_signal_handler_disconnect(connection_.get(), closedHandler_);
        connection_.reset();
    }
}

void BusFollower::pause() {
    timer_ = g_timeout_add(static_cast<guint>(nextPause_.count()), onPauseOver, this);
    nextPause_ = std::min(nextPause_ * 2, pauses_.longest);
}

gboolean BusFollower::onPauseOver(gpointer data) {
    auto* const self = static_cast<BusFollower*>(data);
    self->timer_ = 0;
    self->connect();
    return G_SOURCE_REMOVE;
}

} // namespace platform::desktop
