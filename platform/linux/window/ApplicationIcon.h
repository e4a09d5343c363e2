// The application's icon in the icon theme: its name is the application's id, as it is in desktop
// entries. Main thread only; after the program has been given its name.
#pragma once

#include <glib.h>

namespace platform::gtk {

[[nodiscard]] inline const char* applicationIcon() {
    return g_get_prgname();
}

} // namespace platform::gtk
