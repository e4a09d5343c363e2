// GLib's shared connection to a message bus, followed from one bus to the next. A bus that ends
// takes this process along no more than its own objects; one that comes at the same address is
// joined again, after a pause that doubles with every attempt in vain. A bus that was never there
// is not waited for. Nothing here blocks.
//
// GLib makes a new shared connection only when nobody holds the old one: whoever is told of its end
// gives back every reference at once. Main thread only, which iterates GLib's default main context;
// nothing is called after the end of this object.
#pragma once

#include "platform/linux/GObjectPtr.h"

#include <gio/gio.h>

#include <chrono>
#include <functional>
#include <string>

namespace platform::desktop {

class BusFollower {
  public:
    struct Events {
        std::function<void(GDBusConnection* bus)> came;
        // `trouble` says why there is none; empty when there was one, which has ended.
        std::function<void(const std::string& trouble)> went;
    };
    struct Pauses {
        std::chrono::milliseconds first{500};
        std::chrono::milliseconds longest{8000};
    };

    // Both events come later, `came` and `went` in turn.
    BusFollower(GBusType type, Events events, Pauses pauses);
    BusFollower(GBusType type, Events events)
        : BusFollower(type, std::move(events), Pauses()) {}
    ~BusFollower();
    BusFollower(const BusFollower&) = delete;
    BusFollower& operator=(const BusFollower&) = delete;

    // Null while there is no bus.
    [[nodiscard]] GDBusConnection* connection() const { return connection_.get(); }
    // There was a bus, and there is none now.
    [[nodiscard]] bool isWaiting() const { return everCame_ && !connection_; }

  private:
    struct Attempt {
        BusFollower* follower; // null once it has gone
    };

    static void onConnected(GObject* source, GAsyncResult* result, gpointer attempt);
    static void onClosed(GDBusConnection* bus, gboolean remotePeerVanished, GError* error,
                         gpointer self);
    static gboolean onPauseOver(gpointer self);

    void connect();
    void failed(const std::string& trouble);
    void letGo();
    void pause();

    GBusType type_;
    Events events_;
    Pauses pauses_;
    std::chrono::milliseconds nextPause_;
    gtk::GObjectPtr<GDBusConnection> connection_;
    Attempt* attempt_ = nullptr;
    gulong closedHandler_ = 0;
    guint timer_ = 0;
    bool everCame_ = false;
};

} // namespace platform::desktop
