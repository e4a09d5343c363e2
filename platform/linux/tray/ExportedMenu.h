// A menu as a host of com.canonical.dbusmenu sees it, kept by libdbusmenu-glib. It is changed in
// place: items that continue keep their ids and only properties that differ are set, so the
// layout's revision moves when items come or go and at no other time. While a user may be looking
// at the menu, items neither come nor go (`refresh`). The root always has an item,
// a hidden one if need be, because libdbusmenu tells nobody that an empty menu is about to open.
// Main thread only.
#pragma once

#include "platform/Menu.h"
#include "platform/linux/GObjectPtr.h"

#include <libdbusmenu-glib/dbusmenu-glib.h>

#include <functional>
#include <memory>
#include <vector>

namespace platform::tray {

class ExportedMenu {
  public:
    ExportedMenu();
    ~ExportedMenu();
    ExportedMenu(const ExportedMenu&) = delete;
    ExportedMenu& operator=(const ExportedMenu&) = delete;

    // Offers the menu at that path of GLib's shared connection to the session bus, which must be
    // there.
    void exportAt(const char* objectPath);
    // Nobody can reach it any more, and the connection is not held.
    void withdraw() { server_.reset(); }

    // Shows the menu as it is.
    void update(const Menu& menu);
    // Shows as much of it as the rows that are there can: those that continue get their new texts
    // and states, those that went are disabled, and new ones wait for the next update.
    void refresh(const Menu& menu);

    // A host is about to show the root.
    std::function<void()> onAboutToShow;
    // The user chose an item that is enabled at this moment. The item may be gone as soon as the
    // menu is changed.
    std::function<void(const MenuItem&)> onChosen;

  private:
    struct Node;
    struct Level {
        Menu items;
        std::vector<std::unique_ptr<Node>> nodes;
    };

    static gboolean aboutToShow(DbusmenuMenuitem* root, gpointer self);
    static void activated(DbusmenuMenuitem* item, guint timestamp, gpointer node);

    static void show(Node& node, const MenuItem& value);
    void updateLevel(DbusmenuMenuitem* parent, Level& level, const Menu& menu);
    static void refreshLevel(Level& level, const Menu& menu);
    std::unique_ptr<Node> makeNode(DbusmenuMenuitem* parent, std::size_t position);

    gtk::GObjectPtr<DbusmenuMenuitem> root_;
    gtk::GObjectPtr<DbusmenuMenuitem> placeholder_;
    gtk::GObjectPtr<DbusmenuServer> server_;
    Level top_;
    bool placeholderShown_ = false;
};

} // namespace platform::tray
