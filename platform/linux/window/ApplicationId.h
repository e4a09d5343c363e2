// The application's id, by which window managers, desktop entries and the icon theme know it. The
// program's own name is another one: screen readers read it out. Main thread only.
#pragma once

#include <string>

namespace platform::gtk {

// Once, when GTK has started and before the first window. Every window is the application's then.
void setApplicationId(const std::string& id);

// Also the name of its icon.
[[nodiscard]] const std::string& applicationId();

} // namespace platform::gtk
