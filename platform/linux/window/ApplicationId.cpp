#include "platform/linux/window/ApplicationId.h"

#include "platform/linux/GObjectPtr.h"

#include <gtk/gtk.h>
#ifdef GDK_WINDOWING_X11
#include <gdk/x11/gdkx.h>
#endif
#ifdef GDK_WINDOWING_WAYLAND
#include <gdk/wayland/gdkwayland.h>
#endif

namespace platform::gtk {
namespace {

std::string& stored() {
    static std::string id;
    return id;
}

// GDK takes the program's name for the application's id, each time that it shows a window.
void nameSurface([[maybe_unused]] GtkWidget* window, gpointer /*data*/) {
#ifdef GDK_WINDOWING_WAYLAND
    GdkSurface* const surface = gtk_native_get_surface(GTK_NATIVE(window));
    if (GDK_IS_WAYLAND_TOPLEVEL(surface)) {
        gdk_wayland_toplevel_set_application_id(GDK_TOPLEVEL(surface), stored().c_str());
    }
#endif
}

void nameWindows(GListModel* windows, guint position, guint /*removed*/, guint added,
                 gpointer /*data*/) {
    for (guint index = position; index < position + added; ++index) {
        const GObjectPtr<GtkWidget> window(
            static_cast<GtkWidget*>(g_list_model_get_item(windows, index)));
        g_signal_connect_after(window.get(), "map", G_CALLBACK(&nameSurface), nullptr);
    }
}

// GDK deprecates whatever is about X11 since 4.18.
G_GNUC_BEGIN_IGNORE_DEPRECATIONS

void nameProgramClass() {
#ifdef GDK_WINDOWING_X11
    GdkDisplay* const display = gdk_display_get_default();
    if (GDK_IS_X11_DISPLAY(display)) {
        gdk_x11_display_set_program_class(display, stored().c_str());
    }
#endif
}

G_GNUC_END_IGNORE_DEPRECATIONS

} // namespace

void setApplicationId(const std::string& id) {
    stored() = id;
    nameProgramClass();
    g_signal_connect(gtk_window_get_toplevels(), "items-changed", G_CALLBACK(&nameWindows),
                     nullptr);
    // The web engine takes it from here for its sandbox and the desktop's portals.
    g_application_set_default(g_application_new(id.c_str(), G_APPLICATION_NON_UNIQUE));
}

const std::string& applicationId() {
    return stored();
}

} // namespace platform::gtk
