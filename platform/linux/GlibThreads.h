// GLib ends the process by a signal when the system refuses a thread that it wants for itself.
#pragma once

#include <functional>
#include <string_view>

namespace platform::desktop {

// From here on the process then calls `say` with the reason instead, on any thread, and exits with
// 1. Once a process, before GLib has logged anything.
void sayWhenGlibGetsNoThread(std::function<void(std::string_view why)> say);

} // namespace platform::desktop
