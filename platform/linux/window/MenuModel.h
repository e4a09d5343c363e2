// A menu value as GTK shows it: a Gio::Menu of sections and submenus, with an action for every
// item that does something of its own. Standard commands are named by whoever performs them.
// Titles are literal. A model is replaced as a whole; items that were chosen after that do
// nothing. Main thread only.
#pragma once

#include "platform/Menu.h"

#include <giomm/menu.h>
#include <giomm/simpleactiongroup.h>

#include <functional>
#include <string>

namespace platform::gtk {

// The name of the action ("win.close", say) that performs a standard command, or empty.
using StandardActionNames = std::function<std::string(StandardAction)>;

struct MenuModel {
    Glib::RefPtr<Gio::Menu> model;
    Glib::RefPtr<Gio::SimpleActionGroup> actions; // to be inserted under the given name
};

[[nodiscard]] MenuModel makeMenuModel(const Menu& menu, const std::string& actionGroup,
                                      const StandardActionNames& standardActions);

// "<Control>z", "<Control><Shift>z": a key equivalent in GTK's words; empty for none.
[[nodiscard]] std::string acceleratorOf(const std::string& keyEquivalent);

} // namespace platform::gtk
