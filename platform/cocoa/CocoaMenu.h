// Menu values as AppKit's menus. A closure is the item's own target; a standard command has no
// target and goes to the first responder. Items are enabled as the value says; a standard command
// also by its responder. Main thread only.
#pragma once

#include "platform/Menu.h"
#include "platform/cocoa/RequireArc.h"

#import <AppKit/AppKit.h>

namespace platform::cocoa {

// Adds the items at the menu's end.
void appendItems(NSMenu* menu, const Menu& items);

} // namespace platform::cocoa
