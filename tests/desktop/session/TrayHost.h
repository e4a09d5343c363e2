// The tray of a session's desktop as a program sees it over D-Bus: org.kde.StatusNotifierWatcher,
// which the items register with, and a host that reads them, opens their menus
// (com.canonical.dbusmenu) and clicks. It draws nothing; Panel is a tray that does.
// Registrations are served while hasItem() waits; everything else waits for its answer. One tray a
// session, for the session's first item. Throws std::runtime_error when the bus or the item
// answers with an error.
#pragma once

#include "platform/linux/GObjectPtr.h"
#include "tests/desktop/session/DesktopSession.h"
#include "tests/support/traymenu/TrayMenu.h"

#include <gio/gio.h>

#include <memory>
#include <string>
#include <vector>

namespace desktop {

class TrayHost {
  public:
    explicit TrayHost(const DesktopSession& session);
    ~TrayHost();
    TrayHost(const TrayHost&) = delete;
    TrayHost& operator=(const TrayHost&) = delete;

    // Whether an item comes, with a menu, and learns that there is a host.
    [[nodiscard]] bool hasItem();
    // Properties of the item.
    [[nodiscard]] std::string text(const char* property) const;
    [[nodiscard]] std::string toolTip() const; // its title, and its description in the lines below

    // What the menu shows now that it is opened; see traymenu::Layout.
    std::vector<std::string> openMenu();
    // On an item of the menu as it was opened last.
    void click(const std::string& item);

  private:
    using Variant = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

    static void onCall(GDBusConnection* connection, const char* sender, const char* path,
                       const char* interface, const char* method, GVariant* parameters,
                       GDBusMethodInvocation* invocation, gpointer self);
    static GVariant* onGet(GDBusConnection* connection, const char* sender, const char* path,
                           const char* interface, const char* property, GError** error,
                           gpointer self);
    [[nodiscard]] Variant call(const char* name, const char* path, const char* interface,
                               const char* method, GVariant* parameters) const;
    [[nodiscard]] bool hasMenu() const;
    [[nodiscard]] Variant property(const char* name) const;
    [[nodiscard]] Variant menu(const char* method, GVariant* parameters) const;

    platform::gtk::GObjectPtr<GDBusConnection> connection_;
    guint object_ = 0;
    std::string item_; // the bus name of the one that registered
    bool hostWasAskedFor_ = false;
    traymenu::Layout layout_;
};

} // namespace desktop
