// What logind (org.freedesktop.login1) says about the end of this session: that the system shuts
// down, that the session was removed, or that it is closing. Locking a session and sleeping end
// nothing. Where there is no system bus or no logind, or this process belongs to no session, what
// cannot be known is not told. Main thread only, which iterates GLib's default main context;
// nothing is called after the end of this object.
#pragma once

#include "platform/linux/bus/BusFollower.h"

#include <functional>
#include <string>
#include <vector>

namespace platform::desktop {

class LogindClient {
  public:
    // `sessionId` is what XDG_SESSION_ID says, or empty. `ends` may be called more than once.
    LogindClient(std::string sessionId, std::function<void()> ends);
    ~LogindClient();
    LogindClient(const LogindClient&) = delete;
    LogindClient& operator=(const LogindClient&) = delete;

  private:
    static void onSignal(GDBusConnection* bus, const char* sender, const char* path,
                         const char* interface, const char* signal, GVariant* arguments,
                         gpointer self);
    static void onSession(GObject* bus, GAsyncResult* result, gpointer self);
    static void onState(GObject* bus, GAsyncResult* result, gpointer self);

    void join(GDBusConnection* bus);
    void leave();
    void askForSession(const char* id);
    void askForState();
    void subscribe(const char* interface, const char* signal, const char* path);

    std::string sessionId_;
    std::function<void()> ends_;
    gtk::GObjectPtr<GDBusConnection> bus_;
    gtk::GObjectPtr<GCancellable> asking_;
    std::vector<guint> subscriptions_;
    bool triedOwn_ = false;
    std::string session_; // its object, or empty
    BusFollower follower_;
};

} // namespace platform::desktop
