// The tray of a session's desktop as a program sees it over D-Bus: org.kde.StatusNotifierWatcher,
// which the items register with, and a host that reads them, opens their menus
// (com.canonical.dbusmenu) and clicks. It draws nothing; Panel is a tray that does.
// Registrations are served at any time; everything else waits for its answer. One tray a session,
// for the session's item. Throws std::runtime_error when the bus or the item answers with an error
// or not at all.
#pragma once

#include "tests/desktop/session/PrivateSession.h"
#include "tests/support/backgroundtray/BackgroundTray.h"
#include "tests/support/traymenu/TrayMenu.h"

#include <gio/gio.h>

#include <string>
#include <vector>

namespace desktop {

class TrayHost {
  public:
    explicit TrayHost(const PrivateSession& session);

    // Whether an item comes, with a menu, and learns that there is a host.
    [[nodiscard]] bool hasItem();
    // Properties of the item.
    [[nodiscard]] std::string text(const char* property) const;
    [[nodiscard]] std::string toolTip() const; // its title, and its description in the lines below

    // What a host does on a left click that opens no menu.
    void activate() const;
    // What desktops do before they tell the item what the user chose.
    void giveActivationToken(const char* token) const;

    // What the menu shows now that it is opened; see traymenu::Layout.
    std::vector<std::string> openMenu();
    // On an item of the menu as it was opened last.
    void click(const std::string& item);

  private:
    using Variant = test_support::BackgroundTray::Variant;

    [[nodiscard]] Variant property(const char* name) const;
    [[nodiscard]] Variant menu(const char* method, GVariant* parameters) const;

    test_support::BackgroundTray tray_;
    std::string item_; // the bus name of the one that registered last, as hasItem() found it
    traymenu::Layout layout_;
};

} // namespace desktop
