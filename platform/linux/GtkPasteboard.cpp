#include "platform/linux/GtkPasteboard.h"

#include <gdk/gdk.h>

#include <string>

namespace platform::gtk {

void GtkPasteboard::setText(std::string_view text) {
    gdk_clipboard_set_text(gdk_display_get_clipboard(gdk_display_get_default()),
                           std::string(text).c_str());
}

} // namespace platform::gtk
