// This application on the session bus: its name there, which only one instance has, and the
// interface org.freedesktop.Application by which a second launch asks the first to show itself.
// A bus that is not there or does not answer is done without. The shared connection of GLib is
// used, and its end is not the end of this process. Main thread only, which iterates GLib's default
// main context.
#pragma once

#include "platform/Log.h"
#include "platform/linux/GObjectPtr.h"

#include <gio/gio.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace platform::desktop {

class SessionBus {
  public:
    enum class Claim {
        owned,
        handedOver, // another instance has the name; it was asked to show itself
        noBus,
    };

    SessionBus(std::string applicationId, Log& log);
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    // Iterates the main context until it is known, at most that long. `token` is handed over.
    [[nodiscard]] Claim claim(const std::string& token, std::chrono::milliseconds patience);
    // A launch from now on is a new instance, not a second one of this. Does not wait.
    void release();

    // Of a second launch, with its activation token.
    std::function<void(std::string token)> onActivate;

    // Null while there is no bus.
    [[nodiscard]] GDBusConnection* connection() const { return connection_.get(); }
    [[nodiscard]] bool isGone() const {
        return connection_ && g_dbus_connection_is_closed(connection_.get()) != FALSE;
    }

  private:
    struct Waiting;

    static void onCall(GDBusConnection* connection, const char* sender, const char* path,
                       const char* interface, const char* method, GVariant* arguments,
                       GDBusMethodInvocation* call, gpointer self);

    void offer();
    [[nodiscard]] bool handOver(const std::string& token, std::chrono::milliseconds patience);
    [[nodiscard]] std::string objectPath() const;

    std::string applicationId_;
    Log& log_;
    gtk::GObjectPtr<GDBusConnection> connection_;
    guint registration_ = 0;
};

} // namespace platform::desktop
