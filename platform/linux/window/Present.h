// Brings a window to the front by the permission that the desktop gave for what the user did.
#pragma once

#include <gtkmm/window.h>

#include <string>

namespace platform::gtk {

// `token` is the permission, or empty. Main thread only.
void present(Gtk::Window& window, const std::string& token);

} // namespace platform::gtk
