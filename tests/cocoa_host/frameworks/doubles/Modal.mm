#include "tests/cocoa_host/frameworks/doubles/Modal.h"

#include "tests/cocoa_host/frameworks/doubles/Exchange.h"

#include <algorithm>
#include <list>
#include <map>

namespace cocoa_host {
namespace {

// A window is kept by those who show it, not by its sheets.
struct Sheet {
    __unsafe_unretained NSWindow* window;
    NSWindow* sheet;
    id owner;
    void (^handler)(NSModalResponse);
};

std::list<Sheet>& sheets() {
    static auto* const all = new std::list<Sheet>;
    return *all;
}

auto firstSheetOf(NSWindow* window) { return std::ranges::find(sheets(), window, &Sheet::window); }

void begin(NSWindow* window, NSWindow* sheet, id owner, void (^handler)(NSModalResponse)) {
    sheets().push_back({window, sheet, owner, handler});
}

void end(std::list<Sheet>::iterator place, NSModalResponse response) {
    @autoreleasepool {
        const Sheet ended = *place;
        sheets().erase(place);
        if (ended.handler != nil) {
            ended.handler(response);
        }
    }
}

__unsafe_unretained NSAlert* shownAlert = nil;

// What AppKit's windows know and GNUstep's do not, until they are gone.
struct WindowState {
    bool preventsTermination = true;
    NSWindowTabbingMode tabbing{};
    NSView* accessory = nil; // an alert's
};

std::map<const void*, WindowState>& windowStates() {
    static auto* const all = new std::map<const void*, WindowState>;
    return *all;
}

WindowState& stateOf(NSWindow* window) { return windowStates()[(__bridge const void*)window]; }

} // namespace

void answerModal(NSModalResponse response) {
    NSApplication* const application = NSApplication.sharedApplication;
    [application stopModalWithCode:response];
    // The modal loop looks at that after an event.
    [application postEvent:[NSEvent otherEventWithType:NSEventTypeApplicationDefined
                                              location:CGPoint {}
                                         modifierFlags:0
                                             timestamp:0
                                          windowNumber:0
                                               context:nil
                                               subtype:0
                                                 data1:0
                                                 data2:0]
                   atStart:NO];
}

void endSheet(NSWindow* window, NSModalResponse response) {
    if (const auto first = firstSheetOf(window); first != sheets().end()) {
        end(first, response);
    }
}

NSAlert* modalAlert() { return shownAlert; }

id sheetOwner(NSWindow* window) {
    const auto first = firstSheetOf(window);
    return first == sheets().end() ? nil : first->owner;
}

} // namespace cocoa_host

using cocoa_host::sheets;
using cocoa_host::stateOf;

@implementation NSWindow (HostSheets)
- (NSWindow*)host_attachedSheet {
    const auto first = cocoa_host::firstSheetOf(self);
    return first == sheets().end() ? nil : first->sheet;
}
- (void)endSheet:(NSWindow*)sheet {
    constexpr NSModalResponse stopped = -1000; // NSModalResponseStop
    const auto place = std::ranges::find(sheets(), sheet, &cocoa_host::Sheet::sheet);
    if (place != sheets().end()) {
        cocoa_host::end(place, stopped);
    }
}
- (NSArray<NSWindow*>*)sheets {
    NSMutableArray<NSWindow*>* const all = [NSMutableArray array];
    for (const auto& each : sheets()) {
        if (each.window == self) {
            [all addObject:each.sheet];
        }
    }
    return all;
}
- (BOOL)preventsApplicationTerminationWhenModal {
    return stateOf(self).preventsTermination;
}
- (void)setPreventsApplicationTerminationWhenModal:(BOOL)prevents {
    stateOf(self).preventsTermination = prevents;
}
- (NSWindowTabbingMode)tabbingMode {
    return stateOf(self).tabbing;
}
- (void)setTabbingMode:(NSWindowTabbingMode)mode {
    stateOf(self).tabbing = mode;
}
- (void)host_dealloc {
    cocoa_host::windowStates().erase((__bridge const void*)self);
    [self host_dealloc];
}
@end

@interface NSAlert (Gnustep)
- (void)_setupPanel;
@end
@implementation NSAlert (HostPanel)
// An alert has its window from the start.
- (NSWindow*)host_window {
    if ([self host_window] == nil) {
        [self _setupPanel];
    }
    return [self host_window];
}
- (NSView*)accessoryView {
    return stateOf(self.window).accessory;
}
- (void)setAccessoryView:(NSView*)view {
    stateOf(self.window).accessory = view;
}
- (NSModalResponse)host_runModal {
    NSApplication* const application = NSApplication.sharedApplication;
    cocoa_host::shownAlert = self;
    const NSModalResponse response = [application runModalForWindow:self.window];
    cocoa_host::shownAlert = nil;
    [self.window orderOut:nil];
    return response;
}
- (void)beginSheetModalForWindow:(NSWindow*)window
               completionHandler:(void (^)(NSModalResponse))handler {
    cocoa_host::begin(window, self.window, self, handler);
}
@end

// What the user chose: the folder and the name that the panel has at its end.
@interface NSSavePanel (HostSheets)
- (NSURL*)host_URL;
- (void)host_beginSheetModalForWindow:(NSWindow*)window
                    completionHandler:(void (^)(NSModalResponse))handler;
@end
@implementation NSSavePanel (HostSheets)
- (NSURL*)host_URL {
    return [self.directoryURL URLByAppendingPathComponent:self.nameFieldStringValue];
}
- (void)host_beginSheetModalForWindow:(NSWindow*)window
                    completionHandler:(void (^)(NSModalResponse))handler {
    cocoa_host::begin(window, self, self, handler);
}
@end

// A modal window keeps the application from terminating, unless it says otherwise.
@interface NSApplication (HostModal)
- (void)host_terminate:(id)sender;
@end
@implementation NSApplication (HostModal)
- (void)host_terminate:(id)sender {
    NSWindow* const modal = self.modalWindow;
    if (modal == nil || !modal.preventsApplicationTerminationWhenModal) {
        [self host_terminate:sender];
    }
}
@end

namespace cocoa_host {

void adaptModalWindows() {
    exchange(@"NSWindow", @selector(attachedSheet), @selector(host_attachedSheet));
    exchange(@"NSWindow", NSSelectorFromString(@"dealloc"), @selector(host_dealloc));
    exchange(@"NSAlert", @selector(window), @selector(host_window));
    exchange(@"NSAlert", @selector(runModal), @selector(host_runModal));
    exchange(@"NSSavePanel", @selector(beginSheetModalForWindow:completionHandler:),
             @selector(host_beginSheetModalForWindow:completionHandler:));
    exchange(@"NSSavePanel", @selector(URL), @selector(host_URL));
    exchange(@"NSApplication", @selector(terminate:), @selector(host_terminate:));
}

} // namespace cocoa_host
