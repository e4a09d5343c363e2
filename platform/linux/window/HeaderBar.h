// A window's header bar: the window's title and buttons, a button with the application's main
// menu, and, while the status item can be seen in no tray, a button that is the status item: its
// symbol or text, its tool tip, its menu, asked for each time it opens. Lives as long as its
// window. Main thread only.
#pragma once

#include "platform/Menu.h"
#include "platform/linux/window/EditingCommands.h"
#include "platform/linux/window/MenuModel.h"

#include <gtkmm/menubutton.h>
#include <gtkmm/window.h>

#include <functional>
#include <memory>
#include <string>

namespace platform::gtk {

struct StatusLooks {
    bool shown = false;
    std::string symbol; // empty: the title instead
    std::string title;
    std::string description; // its name for assistive technology
    std::string toolTip;
};

class HeaderBar {
  public:
    // `openStatusMenu` is called with where the menu goes once it is there.
    using OpenStatusMenu = std::function<void(std::function<void(const MenuModel&)>)>;

    HeaderBar(Gtk::Window& window, OpenStatusMenu openStatusMenu);
    ~HeaderBar();
    HeaderBar(const HeaderBar&) = delete;
    HeaderBar& operator=(const HeaderBar&) = delete;

    [[nodiscard]] Gtk::Window& window() { return window_; }

    void showMainMenu(const MenuModel& menu, const Menu& value);
    void showStatusItem(const StatusLooks& looks);
    // In the place of what the status item's menu shows, if that is open.
    void updateStatusMenu(const MenuModel& menu);

  private:
    void openStatusMenu();
    void showToolTip();

    Gtk::Window& window_;
    EditingCommands editing_;
    OpenStatusMenu openStatusMenu_;
    // Owned by the window.
    Gtk::MenuButton& mainButton_;
    Gtk::MenuButton& statusButton_;
    std::string toolTip_;
    bool menuIsOpen_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace platform::gtk
