// The introspection data of org.kde.StatusNotifierItem. Any thread.
#pragma once

#include <gio/gio.h>

namespace platform::tray {

inline constexpr const char* notifierInterfaceName = "org.kde.StatusNotifierItem";

// Owned by the process.
[[nodiscard]] GDBusInterfaceInfo* notifierInterface();

} // namespace platform::tray
