// A menu as a host of status items sees it: the reply of GetLayout of the com.canonical.dbusmenu
// interface, asked for the root with every level and every property, in a form that tests compare.
#pragma once

#include <glib.h>

#include <string>
#include <vector>

namespace traymenu {

struct Layout {
    guint revision = 0;
    std::vector<int> ids;
    // The labels, with what a person sees of their state: "-" for a separator, disabled items in
    // brackets, switches after an asterisk when they are on and after an o when they are off,
    // "hidden" for an item that is not shown.
    std::vector<std::string> items;
};

[[nodiscard]] Layout readLayout(GVariant* reply);

} // namespace traymenu
