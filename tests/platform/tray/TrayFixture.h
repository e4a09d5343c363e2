// A private session bus for the test's process, and the two programs of a desktop that a status
// item talks to: a watcher (with whatever a watcher may do wrong) and a host. Everything runs on
// GLib's default main context of the test's thread, so waiting means iterating it.
#pragma once

#include "platform/Log.h"
#include "platform/linux/GObjectPtr.h"
#include "platform/linux/tray/TrayStatusItem.h"
#include "tests/support/traymenu/TrayMenu.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform::tray {

using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

// Whether the condition held before the time was over.
[[nodiscard]] bool eventually(const std::function<bool()>& condition,
                              std::chrono::milliseconds limit = std::chrono::seconds(20));
// Lets everything that is under way on the bus arrive: a round trip of our own on each connection.
void settle();

// A new connection to the private bus, which is started by the first call.
[[nodiscard]] gtk::GObjectPtr<GDBusConnection> connectToBus();

class QuietLog final : public Log {
  public:
    void write(std::string_view message) override { messages.emplace_back(message); }
    void writeLines(std::string_view /*prefix*/,
                    std::span<const std::string_view> /*lines*/) override {}

    std::vector<std::string> messages;
};

// org.kde.StatusNotifierWatcher, when it has the name.
class Watcher {
  public:
    Watcher();
    ~Watcher();
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    // Takes the name, from another watcher too.
    void appear();
    void vanish();
    void setHost(bool present);

    bool refuses = false;
    std::vector<std::string> registered; // in order, since the watcher was made

  private:
    static void onCall(GDBusConnection* connection, const char* sender, const char* path,
                       const char* interface, const char* method, GVariant* parameters,
                       GDBusMethodInvocation* invocation, gpointer self);
    static GVariant* onGet(GDBusConnection* connection, const char* sender, const char* path,
                           const char* interface, const char* property, GError** error,
                           gpointer self);
    void callBus(const char* method, GVariant* parameters);

    gtk::GObjectPtr<GDBusConnection> connection_;
    bool hasHost_ = true;
    guint object_ = 0;
};

struct Answer {
    Variant value{nullptr, &g_variant_unref};
    std::string error = {}; // the D-Bus error's name; empty for none
};

// Speaks to an item as a panel does.
class Host {
  public:
    explicit Host(std::string item);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    [[nodiscard]] Answer call(const char* path, const char* interface, const char* method,
                              GVariant* parameters);
    [[nodiscard]] Answer menu(const char* method, GVariant* parameters);
    [[nodiscard]] Answer item(const char* method, GVariant* parameters);
    [[nodiscard]] Variant property(const char* name);
    [[nodiscard]] std::string text(const char* property);

    [[nodiscard]] traymenu::Layout layout();
    void aboutToShow();
    void click(int id);

    std::vector<std::string> signals; // of the item and its menu, names in order

  private:
    static void onSignal(GDBusConnection* connection, const char* sender, const char* path,
                         const char* interface, const char* signal, GVariant* parameters,
                         gpointer self);

    std::string item_;
    gtk::GObjectPtr<GDBusConnection> connection_;
    guint subscription_ = 0;
};

class TrayTest : public ::testing::Test {
  protected:
    TrayTest();
    ~TrayTest() override;

    // An item in the tray of `watcher`, which is made to appear.
    void makeItem();
    [[nodiscard]] Host host() const { return Host(watcher.registered.back()); }
    [[nodiscard]] bool isIn(TrayStatusItem::Place place) const {
        return eventually([&] { return item->place() == place; });
    }

    QuietLog log;
    std::filesystem::path symbols; // a folder with one, "some.symbol"
    Watcher watcher;
    std::unique_ptr<TrayStatusItem> item;
};

} // namespace platform::tray
