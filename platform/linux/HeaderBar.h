// A window's header bar: the window's title and buttons, a button with the application's main
// menu, and, while the status item can be seen in no tray, a button that is the status item: its
// symbol or text, its tool tip, its menu, computed anew each time it opens. Lives as long as its
// window. Main thread only.
#pragma once

#include "platform/linux/EditingCommands.h"
#include "platform/linux/GtkMenuModel.h"
#include "platform/linux/tray/TrayStatusItem.h"

#include <gtkmm/applicationwindow.h>
#include <gtkmm/menubutton.h>

namespace platform::gtk {

class HeaderBar {
  public:
    explicit HeaderBar(Gtk::ApplicationWindow& window);
    HeaderBar(const HeaderBar&) = delete;
    HeaderBar& operator=(const HeaderBar&) = delete;

    [[nodiscard]] Gtk::ApplicationWindow& window() { return window_; }

    void showMainMenu(const GtkMenuModel& menu, const Menu& value);
    // Shows the item as it is now; null hides the button.
    void showStatusItem(tray::TrayStatusItem* item, const StandardActionNames& standardActions);

  private:
    void fillStatusMenu();

    Gtk::ApplicationWindow& window_;
    EditingCommands editing_;
    // Owned by the window.
    Gtk::MenuButton& mainButton_;
    Gtk::MenuButton& statusButton_;
    tray::TrayStatusItem* statusItem_ = nullptr;
    StandardActionNames standardActions_;
};

} // namespace platform::gtk
