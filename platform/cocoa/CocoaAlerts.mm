#include "platform/cocoa/CocoaAlerts.h"

#include "platform/cocoa/Text.h"

#import <AppKit/AppKit.h>

#include <algorithm>

namespace platform::cocoa {

std::size_t CocoaAlerts::runModal(const Alert& alert) {
    @autoreleasepool {
        NSAlert* const panel = [[NSAlert alloc] init];
        panel.messageText = toFoundation(alert.message);
        panel.informativeText = toFoundation(alert.informativeText);
        for (const std::string& title : alert.buttons) {
            [panel addButtonWithTitle:toFoundation(title)];
        }
        // By itself, AppKit gives Escape only to a button called Cancel.
        if (alert.buttons.size() > 1) {
            panel.buttons.lastObject.keyEquivalent = @"\033";
        }
        // By itself an alert forbids the application to quit, without asking the delegate.
        panel.window.preventsApplicationTerminationWhenModal = NO;
        const NSModalResponse response = [panel runModal];
        const std::size_t last = std::max<std::size_t>(alert.buttons.size(), 1) - 1;
        const NSInteger index = response - NSAlertFirstButtonReturn;
        return index >= 0 ? std::min(static_cast<std::size_t>(index), last) : last;
    }
}

} // namespace platform::cocoa
