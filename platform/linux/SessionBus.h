// This application on the session bus: its name there, which only one instance has, and the
// interface org.freedesktop.Application by which a second launch asks the first to show itself.
// A bus that is not there or does not answer is done without; one that ends and comes again is
// joined again. The shared connection of GLib is used. Main thread only, which iterates GLib's
// default main context.
#pragma once

#include "platform/Log.h"
#include "platform/linux/bus/BusFollower.h"

#include <gio/gio.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace platform::desktop {

class SessionBus {
  public:
    enum class Claim {
        owned,
        handedOver, // another instance has the name; it was asked to show itself
        noBus,
        silent, // it may still answer: onReturned
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

    // After claim(): the bus that connection() was has ended, and every reference to it is to be
    // given back; another has come.
    std::function<void()> onEnded;
    std::function<void()> onReturned;

    // Null while there is no bus.
    [[nodiscard]] GDBusConnection* connection() const { return connection_.get(); }
    [[nodiscard]] bool isGone() const { return follower_ && follower_->isWaiting(); }

  private:
    enum class Name { unknown, owned, taken, refused };

    static void onNamed(GObject* connection, GAsyncResult* result, gpointer self);
    static void onCall(GDBusConnection* connection, const char* sender, const char* path,
                       const char* interface, const char* method, GVariant* arguments,
                       GDBusMethodInvocation* call, gpointer self);

    void joined(GDBusConnection* bus);
    void left(const std::string& trouble);
    void letGo();
    void offer();
    void askForName();
    [[nodiscard]] bool handOver(const std::string& token, std::chrono::milliseconds patience);
    [[nodiscard]] std::string objectPath() const;

    std::string applicationId_;
    Log& log_;
    bool claiming_ = false;
    Name name_ = Name::unknown; // on the present bus
    std::string trouble_;       // why there is neither bus nor name
    gtk::GObjectPtr<GDBusConnection> connection_;
    gtk::GObjectPtr<GCancellable> asking_; // on that connection
    guint registration_ = 0;
    std::optional<BusFollower> follower_;
};

} // namespace platform::desktop
