#include "platform/cocoa/CocoaMenu.h"

#include "platform/cocoa/Text.h"

#include <functional>
#include <utility>

@interface ZorvaneMenuTarget : NSObject
- (instancetype)initWithAction:(std::function<void()>)action enabled:(BOOL)enabled;
- (void)perform:(id)sender;
@end

@implementation ZorvaneMenuTarget {
    std::function<void()> _action;
    BOOL _enabled;
}

- (instancetype)initWithAction:(std::function<void()>)action enabled:(BOOL)enabled {
    self = [super init];
    if (self != nil) {
        _action = std::move(action);
        _enabled = enabled;
    }
    return self;
}

- (void)perform:(id)__unused sender {
    const std::function<void()> action = _action; // which may end the menu and this object
    action();
}

- (BOOL)validateMenuItem:(NSMenuItem*)__unused menuItem {
    return _enabled;
}

@end

namespace platform::cocoa {
namespace {

SEL selectorFor(StandardAction action) {
    switch (action) {
    case StandardAction::orderFrontStandardAboutPanel:
        return @selector(orderFrontStandardAboutPanel:);
    case StandardAction::hide:
        return @selector(hide:);
    case StandardAction::terminate:
        return @selector(terminate:);
    case StandardAction::undo:
        return @selector(undo:);
    case StandardAction::redo:
        return @selector(redo:);
    case StandardAction::cut:
        return @selector(cut:);
    case StandardAction::copy:
        return @selector(copy:);
    case StandardAction::paste:
        return @selector(paste:);
    case StandardAction::selectAll:
        return @selector(selectAll:);
    case StandardAction::performMiniaturize:
        return @selector(performMiniaturize:);
    case StandardAction::performClose:
        return @selector(performClose:);
    }
}

NSMenuItem* makeItem(const MenuItem& value) {
    if (value.separator) {
        return [NSMenuItem separatorItem];
    }
    SEL action = nullptr;
    ZorvaneMenuTarget* target = nil;
    if (value.standardAction && value.enabled) {
        action = selectorFor(*value.standardAction);
    } else if (value.action) {
        target = [[ZorvaneMenuTarget alloc] initWithAction:value.action enabled:value.enabled];
        action = @selector(perform:);
    }
    NSMenuItem* const item = [[NSMenuItem alloc] initWithTitle:toFoundation(value.title)
                                                        action:action
                                                 keyEquivalent:toFoundation(value.keyEquivalent)];
    item.target = target;
    item.representedObject = target; // an item does not keep its target
    item.enabled = value.enabled;
    item.state = value.checked ? NSControlStateValueOn : NSControlStateValueOff;
    if (!value.submenu.empty()) {
        NSMenu* const submenu = [[NSMenu alloc] initWithTitle:toFoundation(value.title)];
        appendItems(submenu, value.submenu);
        item.submenu = submenu;
        if (value.listsWindows) {
            NSApplication.sharedApplication.windowsMenu = submenu;
        }
    }
    return item;
}

} // namespace

void appendItems(NSMenu* menu, const Menu& items) {
    for (const MenuItem& item : items) {
        [menu addItem:makeItem(item)];
    }
}

} // namespace platform::cocoa
