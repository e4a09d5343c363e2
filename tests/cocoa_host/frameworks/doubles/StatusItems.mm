#include "tests/cocoa_host/frameworks/doubles/StatusItems.h"

@interface HostStatusItem : NSObject
@property (nonatomic, strong) NSMenu* menu;
@property (nonatomic, strong) NSStatusBarButton* button;
@property (nonatomic) CGFloat length;
@end
@implementation HostStatusItem
@end

@interface HostStatusBar : NSStatusBar
@end
@implementation HostStatusBar {
    NSMutableArray<NSStatusItem*>* _items;
}
- (NSMutableArray<NSStatusItem*>*)items {
    if (_items == nil) {
        _items = [NSMutableArray array];
    }
    return _items;
}
- (NSStatusItem*)statusItemWithLength:(CGFloat)length {
    HostStatusItem* const made = [[HostStatusItem alloc] init];
    made.length = length;
    made.button = [[NSStatusBarButton alloc] initWithFrame:NSMakeRect(0, 0, 24, 24)];
    NSStatusItem* const item = static_cast<NSStatusItem*>(static_cast<id>(made));
    [self.items addObject:item];
    return item;
}
- (void)removeStatusItem:(NSStatusItem*)item {
    [self.items removeObjectIdenticalTo:item];
}
@end

namespace {

HostStatusBar* systemBar() {
    static HostStatusBar* const bar = [[HostStatusBar alloc] init];
    return bar;
}

} // namespace

@interface NSStatusBar (Host)
@end
@implementation NSStatusBar (Host)
+ (NSStatusBar*)systemStatusBar {
    return systemBar();
}
@end

namespace cocoa_host {

NSArray<NSStatusItem*>* statusItems() { return systemBar().items; }

void openMenu(NSStatusItem* item) {
    @autoreleasepool {
        NSMenu* const menu = item.menu;
        const id<NSMenuDelegate> delegate = menu.delegate;
        [delegate menuNeedsUpdate:menu];
        menu.delegate = nil; // GNUstep would ask again and again
        [menu update];
        menu.delegate = delegate;
    }
}

} // namespace cocoa_host
