// A tray on a session bus: the org.kde.StatusNotifierWatcher that items register with, and a host
// that opens their menu over com.canonical.dbusmenu as a panel does. It has a connection and a
// thread of its own, so it answers while its owner does something else; an item in the owner's own
// process needs its main context iterated meanwhile. An object lives as long as a tray's process
// does: its destruction takes the name off the bus, a new one is a restarted tray. All methods may
// be called on any thread, one at a time, and throw std::runtime_error when the bus or the item
// does not answer within 25 seconds.
#pragma once

#include "platform/linux/GObjectPtr.h"
#include "tests/support/traymenu/TrayMenu.h"

#include <gio/gio.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace test_support {

class BackgroundTray {
  public:
    // Returns once it has the watcher's name.
    explicit BackgroundTray(const std::string& busAddress);
    ~BackgroundTray();
    BackgroundTray(const BackgroundTray&) = delete;
    BackgroundTray& operator=(const BackgroundTray&) = delete;

    // The bus names that registered so far, in order.
    [[nodiscard]] std::vector<std::string> registered() const;
    // Whether anybody has learned that there is a host.
    [[nodiscard]] bool hostWasAskedFor() const { return hostWasAskedFor_; }

    // The menu's object may come to the bus a moment after its item has registered; it announces
    // itself then, by LayoutUpdated.
    [[nodiscard]] bool canOpenMenu(const std::string& item) const;
    // AboutToShow and the complete GetLayout of that item's menu.
    [[nodiscard]] traymenu::Layout openMenu(const std::string& item);
    // The same, without a look at the answer's contents; returns how many entries there are.
    std::size_t openMenuUnread(const std::string& item);

    using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;
    [[nodiscard]] Variant call(const char* name, const char* path, const char* interface,
                               const char* method, GVariant* parameters) const;

  private:
    static void onCall(GDBusConnection* connection, const char* sender, const char* path,
                       const char* interface, const char* method, GVariant* parameters,
                       GDBusMethodInvocation* invocation, gpointer self);
    static GVariant* onGet(GDBusConnection* connection, const char* sender, const char* path,
                           const char* interface, const char* property, GError** error,
                           gpointer self);

    void finish();
    void onOwnThread(const std::function<void()>& task);
    [[nodiscard]] Variant open(const std::string& item) const;

    GMainContext* context_;
    GMainLoop* loop_;
    std::thread thread_;
    platform::gtk::GObjectPtr<GDBusConnection> connection_;
    guint object_ = 0;
    std::atomic<bool> hostWasAskedFor_ = false;
    mutable std::mutex mutex_;
    std::vector<std::string> registered_;
};

} // namespace test_support
