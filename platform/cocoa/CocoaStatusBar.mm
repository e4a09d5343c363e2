#include "platform/cocoa/CocoaStatusBar.h"

#include "platform/cocoa/CocoaMenu.h"
#include "platform/cocoa/Text.h"

@interface ZorvaneStatusMenuDelegate : NSObject <NSMenuDelegate>
// Not owned; null once the item is gone.
@property (nonatomic, assign) platform::StatusItem* owner;
@end

@implementation ZorvaneStatusMenuDelegate

- (void)menuNeedsUpdate:(NSMenu*)menu {
    [menu removeAllItems];
    if (self.owner != nullptr && self.owner->onMenuNeedsUpdate) {
        platform::cocoa::appendItems(menu, self.owner->onMenuNeedsUpdate());
    }
}

@end

namespace platform::cocoa {

CocoaStatusItem::CocoaStatusItem() : observer_([[ZorvaneStatusMenuDelegate alloc] init]) {
    @autoreleasepool {
        item_ = [NSStatusBar.systemStatusBar statusItemWithLength:NSVariableStatusItemLength];
        observer_.owner = this;
        NSMenu* const menu = [[NSMenu alloc] initWithTitle:@""];
        menu.delegate = observer_;
        item_.menu = menu;
    }
}

CocoaStatusItem::~CocoaStatusItem() {
    observer_.owner = nullptr;
    [NSStatusBar.systemStatusBar removeStatusItem:item_];
}

bool CocoaStatusItem::setSymbol(std::string_view name, std::string_view accessibilityDescription) {
    @autoreleasepool {
        NSImage* const image =
            [NSImage imageWithSystemSymbolName:toFoundation(name)
                      accessibilityDescription:toFoundation(accessibilityDescription)];
        if (image == nil) {
            return false;
        }
        [image setTemplate:YES];
        item_.button.image = image;
        return true;
    }
}

void CocoaStatusItem::clearImage() { item_.button.image = nil; }

void CocoaStatusItem::setTitle(std::string_view title) { item_.button.title = toFoundation(title); }

void CocoaStatusItem::setToolTip(std::optional<std::string_view> toolTip) {
    item_.button.toolTip = toolTip ? toFoundation(*toolTip) : nil;
}

// The menu is asked for each time it opens, and nobody keeps a copy.
void CocoaStatusItem::menuChanged(const Menu& /*menu*/) {}

std::unique_ptr<StatusItem> CocoaStatusBar::makeStatusItem() {
    return std::make_unique<CocoaStatusItem>();
}

void CocoaMenuBar::setMainMenu(const Menu& menu) {
    @autoreleasepool {
        NSMenu* const mainMenu = [[NSMenu alloc] initWithTitle:@""];
        appendItems(mainMenu, menu);
        NSApplication.sharedApplication.mainMenu = mainMenu;
    }
}

} // namespace platform::cocoa
