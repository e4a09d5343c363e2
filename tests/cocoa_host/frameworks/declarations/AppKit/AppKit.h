// Beside what the application uses of AppKit: what its tests and the doubles do. GNUstep has all of
// it but for what doubles/AppKit*.mm add.
#pragma once

#include_next <AppKit/AppKit.h>

enum : NSUInteger {
    NSEventTypeKeyDown = 10,
    NSEventTypeApplicationDefined = 15,
    NSEventModifierFlagCommand = 1 << 20,
};

@interface NSEvent : NSObject
+ (NSEvent*)otherEventWithType:(NSUInteger)type
                      location:(CGPoint)location
                 modifierFlags:(NSUInteger)flags
                     timestamp:(NSTimeInterval)time
                  windowNumber:(NSInteger)number
                       context:(id)context
                       subtype:(short)subtype
                         data1:(NSInteger)data1
                         data2:(NSInteger)data2;
+ (NSEvent*)keyEventWithType:(NSUInteger)type
                       location:(CGPoint)location
                  modifierFlags:(NSUInteger)flags
                      timestamp:(NSTimeInterval)time
                   windowNumber:(NSInteger)number
                        context:(id)context
                     characters:(NSString*)characters
    charactersIgnoringModifiers:(NSString*)unmodified
                      isARepeat:(BOOL)repeated
                        keyCode:(unsigned short)code;
@end

@interface NSApplication (Tests)
@property (readonly) NSWindow* modalWindow;
@property (readonly, copy) NSArray<NSWindow*>* windows;
- (NSInteger)runModalForWindow:(NSWindow*)window;
- (void)stopModalWithCode:(NSInteger)code;
- (void)postEvent:(NSEvent*)event atStart:(BOOL)start;
@end

@interface NSView (Tests)
- (instancetype)initWithFrame:(NSRect)frame;
@property (readonly) NSRect frame;
@property (readonly) NSWindow* window;
@end

@interface NSWindow (Tests)
- (void)performClose:(id)sender;
@property (readonly) NSRect frame;
@property (readonly) NSUInteger styleMask;
@property (readonly, copy) NSString* frameAutosaveName;
@end

@interface NSControl (Tests)
- (void)performClick:(id)sender;
@end

@interface NSMenu (Tests)
@property (readonly) NSInteger numberOfItems;
- (NSMenuItem*)itemAtIndex:(NSInteger)index;
- (void)insertItem:(NSMenuItem*)item atIndex:(NSInteger)index;
- (void)removeItemAtIndex:(NSInteger)index;
- (void)update;
- (void)performActionForItemAtIndex:(NSInteger)index;
- (BOOL)performKeyEquivalent:(NSEvent*)event;
@end

@interface NSMenuItem (Tests)
@property (copy) NSString* title;
@property (copy) NSString* keyEquivalent;
@property SEL action;
@property (readonly) BOOL isSeparatorItem;
@end

@interface NSPasteboard (Tests)
- (NSString*)stringForType:(NSString*)type;
- (NSInteger)declareTypes:(NSArray*)types owner:(id)owner;
@property (readonly, copy) NSArray<NSString*>* types;
@end

@interface NSImage (Tests)
- (instancetype)initWithSize:(NSSize)size;
@end
