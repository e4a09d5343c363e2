#include "platform/cocoa/CocoaPasteboard.h"

#include "platform/cocoa/Text.h"

#import <AppKit/AppKit.h>

namespace platform::cocoa {

void CocoaPasteboard::setText(std::string_view text) {
    @autoreleasepool {
        NSPasteboard* const pasteboard = NSPasteboard.generalPasteboard;
        [pasteboard clearContents];
        [pasteboard setString:toFoundation(text) forType:NSPasteboardTypeString];
    }
}

} // namespace platform::cocoa
