// The items in the menu bar, without a menu bar.
#pragma once

#import <AppKit/AppKit.h>

namespace cocoa_host {

// From the oldest to the newest.
[[nodiscard]] NSArray<NSStatusItem*>* statusItems();

// Opens the item's menu as a click does: asks its delegate, then leaves it as it is shown.
// https://developer.apple.com/documentation/appkit/nsmenudelegate/menuneedsupdate(_:)
void openMenu(NSStatusItem* item);

} // namespace cocoa_host
