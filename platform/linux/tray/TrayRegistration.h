// Keeps an item registered with whatever StatusNotifierWatcher there is: once with each one that
// comes, however often it goes, restarts or is replaced. Nothing polls; everything follows from
// the bus telling who owns the watcher's name. Whether the item is to be seen also depends on the
// watcher having a host to show it (IsStatusNotifierHostRegistered and its signals); a watcher
// that does not say counts as having one. Main thread only; nothing is called after the end of
// this object.
#pragma once

#include "platform/Log.h"
#include "platform/linux/GObjectPtr.h"

#include <gio/gio.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform::tray {

class TrayRegistration {
  public:
    // Owns `busName` on the connection and registers it. `onChanged` is told whether the item is
    // in a tray, first when that is known and then whenever it changes; `onNewHost` whenever a
    // program that shows items may have come.
    TrayRegistration(GDBusConnection* connection, std::string busName,
                     std::function<void(bool inTray)> onChanged, std::function<void()> onNewHost,
                     Log& log);
    ~TrayRegistration();
    TrayRegistration(const TrayRegistration&) = delete;
    TrayRegistration& operator=(const TrayRegistration&) = delete;

  private:
    static void onNamed(GObject* connection, GAsyncResult* result, gpointer self);
    static void onAppeared(GDBusConnection* connection, const char* name, const char* owner,
                           gpointer self);
    static void onVanished(GDBusConnection* connection, const char* name, gpointer self);
    static void onHostSignal(GDBusConnection* connection, const char* sender, const char* path,
                             const char* interface, const char* signal, GVariant* parameters,
                             gpointer self);
    static void onRegistered(GObject* connection, GAsyncResult* result, gpointer self);
    static void onHostKnown(GObject* connection, GAsyncResult* result, gpointer self);

    void registerItem();
    void askForHost();
    void forgetWatcher();
    void tell(bool inTray);

    gtk::GObjectPtr<GDBusConnection> connection_;
    std::string busName_;
    std::function<void(bool)> onChanged_;
    std::function<void()> onNewHost_;
    Log& log_;
    bool nameOwned_ = false;
    bool registered_ = false; // with the present watcher
    std::string watcher_;     // its unique name; empty while there is none
    std::optional<bool> told_;
    gtk::GObjectPtr<GCancellable> calls_; // to the present watcher
    std::vector<guint> hostSignals_;
    gtk::GObjectPtr<GCancellable> naming_{g_cancellable_new()};
    guint watchId_ = 0;
};

} // namespace platform::tray
