#include "platform/linux/window/Present.h"

#ifdef GDK_WINDOWING_WAYLAND
#include <gdk/wayland/gdkwayland.h>
#endif

namespace platform::gtk {
namespace {

void useToken(Gtk::Window& window, const std::string& token) {
// Before release 4.10 GTK uses the display's token only, and makes up one of its own where there is
// none, which no compositor believes.
#if defined(GDK_WINDOWING_WAYLAND) && !GTK_CHECK_VERSION(4, 10, 0)
    GdkDisplay* const display = gdk_display_get_default();
    if (GDK_IS_WAYLAND_DISPLAY(display)) {
        gdk_wayland_display_set_startup_notification_id(display, token.c_str());
        return;
    }
#endif
    window.set_startup_id(token);
}

} // namespace

void present(Gtk::Window& window, const std::string& token) {
    if (!token.empty()) {
        useToken(window, token);
    }
    window.present();
}

} // namespace platform::gtk
