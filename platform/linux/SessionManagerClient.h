// The session manager of the desktop, as its client: GNOME's interface, which most offer, or
// Xfce's. It asks whether the session may end, and says that it ends. Without a session manager
// nothing happens. Main thread only.
#pragma once

#include "platform/linux/GObjectPtr.h"

#include <gio/gio.h>

#include <functional>
#include <string>
#include <vector>

namespace platform::desktop {

class SessionManagerClient {
  public:
    struct Answers {
        // Whether this application agrees to the end of the session.
        std::function<bool()> mayEnd;
        std::function<void()> ends;
    };

    // `startupId` is what the session manager gave this launch, or empty.
    SessionManagerClient(GDBusConnection* bus, std::string applicationId, std::string startupId,
                         Answers answers);
    ~SessionManagerClient();
    SessionManagerClient(const SessionManagerClient&) = delete;
    SessionManagerClient& operator=(const SessionManagerClient&) = delete;

  private:
    static void onRegistered(GObject* bus, GAsyncResult* result, gpointer self);
    static void onInhibited(GObject* bus, GAsyncResult* result, gpointer self);
    static void onSignal(GDBusConnection* bus, const char* sender, const char* path,
                         const char* interface, const char* signal, GVariant* arguments,
                         gpointer self);

    void registerWith(std::size_t manager);
    void unsubscribe();
    void asked();
    void respond();
    void inhibit();
    void uninhibit();

    gtk::GObjectPtr<GDBusConnection> bus_;
    std::string applicationId_;
    std::string startupId_;
    Answers answers_;
    gtk::GObjectPtr<GCancellable> asking_{g_cancellable_new()};
    std::size_t manager_ = 0;
    std::string clientPath_;
    guint subscription_ = 0;
    bool refusing_ = false;
    guint32 refusal_ = 0; // the session manager's cookie
};

} // namespace platform::desktop
