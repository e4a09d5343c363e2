// What Zorvane uses of AppKit.
#ifndef ZORVANE_INTERFACE_APPKIT
#define ZORVANE_INTERFACE_APPKIT

#import <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

@class NSAlert, NSImage, NSMenu, NSOpenPanel, NSRunningApplication, NSView, NSWindow;
@protocol NSApplicationDelegate, NSMenuDelegate, NSWindowDelegate;

typedef NSInteger NSModalResponse;
enum : NSModalResponse {
    NSModalResponseOK API_AVAILABLE(macos(10.13)) = 1,
    NSModalResponseCancel API_AVAILABLE(macos(10.13)) = 0,
};
enum : NSModalResponse {
    NSAlertFirstButtonReturn = 1000,
};

@interface NSResponder : NSObject
@end

typedef NS_ENUM(NSUInteger, NSApplicationTerminateReply){
    NSTerminateCancel = 0,
    NSTerminateNow = 1,
};

typedef NS_ENUM(NSInteger, NSApplicationActivationPolicy){
    NSApplicationActivationPolicyRegular = 0,
    NSApplicationActivationPolicyAccessory = 1,
};

@interface NSApplication : NSResponder
@property(class, readonly, strong) __kindof NSApplication* sharedApplication;
@property(nullable, weak) id<NSApplicationDelegate> delegate;
@property(nullable, strong) NSMenu* mainMenu;
@property(nullable, strong) NSMenu* windowsMenu;
@property(readonly, copy) NSArray<NSWindow*>* windows;
- (void)activateIgnoringOtherApps:(BOOL)ignoreOtherApps
    API_DEPRECATED("This method will be deprecated in a future release. Use NSApp.activate instead.",
                   macos(10.0, API_TO_BE_DEPRECATED));
- (void)run;
- (void)terminate:(nullable id)sender;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)activationPolicy
    API_AVAILABLE(macos(10.6));
@end

@protocol NSApplicationDelegate <NSObject>
@optional
- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)sender;
- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)sender;
- (BOOL)applicationShouldHandleReopen:(NSApplication*)sender
                    hasVisibleWindows:(BOOL)hasVisibleWindows;
- (BOOL)applicationSupportsSecureRestorableState:(NSApplication*)app API_AVAILABLE(macos(12.0));
- (void)applicationDidFinishLaunching:(NSNotification*)notification;
- (void)applicationWillTerminate:(NSNotification*)notification;
@end

@interface NSView : NSResponder
@property(nullable, copy) NSString* toolTip;
@end

typedef NS_ENUM(NSUInteger, NSBackingStoreType){
    NSBackingStoreBuffered = 2,
};

typedef NS_OPTIONS(NSUInteger, NSWindowStyleMask){
    NSWindowStyleMaskTitled = 1 << 0,
    NSWindowStyleMaskClosable = 1 << 1,
    NSWindowStyleMaskMiniaturizable = 1 << 2,
    NSWindowStyleMaskResizable = 1 << 3,
};

typedef NS_ENUM(NSInteger, NSWindowTabbingMode){
    NSWindowTabbingModeDisallowed = 2,
} API_AVAILABLE(macos(10.12));

typedef NSString* NSWindowFrameAutosaveName __attribute__((swift_newtype(struct)));

@interface NSWindow : NSResponder
- (instancetype)initWithContentRect:(NSRect)contentRect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backingStoreType
                              defer:(BOOL)flag NS_DESIGNATED_INITIALIZER;
@property(copy) NSString* title;
@property(nullable, strong) __kindof NSView* contentView;
@property(nullable, weak) id<NSWindowDelegate> delegate;
@property(getter=isReleasedWhenClosed) BOOL releasedWhenClosed;
@property(getter=isVisible, readonly) BOOL visible;
@property(readonly) BOOL canBecomeMainWindow;
@property NSSize minSize;
@property NSWindowTabbingMode tabbingMode API_AVAILABLE(macos(10.12));
@property BOOL preventsApplicationTerminationWhenModal API_AVAILABLE(macos(10.6));
@property(nullable, readonly, strong) NSWindow* attachedSheet;
- (void)endSheet:(NSWindow*)sheetWindow API_AVAILABLE(macos(10.9));
- (BOOL)setFrameAutosaveName:(NSWindowFrameAutosaveName)name;
- (void)center;
- (void)close;
- (void)makeKeyAndOrderFront:(nullable id)sender;
- (void)orderOut:(nullable id)sender;
@end

@protocol NSWindowDelegate <NSObject>
@optional
- (void)windowWillClose:(NSNotification*)notification;
@end

@interface NSPanel : NSWindow
@end

@interface NSSavePanel : NSPanel
+ (NSSavePanel*)savePanel;
@property(nullable, readonly, copy) NSURL* URL;
@property(nullable, copy) NSURL* directoryURL API_AVAILABLE(macos(10.6));
@property(copy) NSString* nameFieldStringValue API_AVAILABLE(macos(10.6));
- (void)beginSheetModalForWindow:(NSWindow*)window
               completionHandler:(void (^)(NSModalResponse result))handler;
@end

@interface NSOpenPanel : NSSavePanel
+ (NSOpenPanel*)openPanel;
@property(readonly, copy) NSArray<NSURL*>* URLs;
@property BOOL canChooseDirectories;
@property BOOL canChooseFiles;
@property BOOL allowsMultipleSelection;
@end

@interface NSControl : NSView
@end

@interface NSProgressIndicator : NSView
- (instancetype)initWithFrame:(NSRect)frameRect;
@property(getter=isIndeterminate) BOOL indeterminate;
@property double doubleValue;
@property double maxValue;
@end

@interface NSButton : NSControl
@property(copy) NSString* title;
@property(nullable, strong) NSImage* image;
@property(copy) NSString* keyEquivalent;
@end

@interface NSAlert : NSObject
@property(copy) NSString* messageText;
@property(copy) NSString* informativeText;
@property(readonly, copy) NSArray<NSButton*>* buttons;
@property(readonly, strong) NSWindow* window;
@property(nullable, strong) NSView* accessoryView API_AVAILABLE(macos(10.5));
- (NSModalResponse)runModal;
- (NSButton*)addButtonWithTitle:(NSString*)title;
- (void)beginSheetModalForWindow:(NSWindow*)sheetWindow
               completionHandler:(void (^_Nullable)(NSModalResponse returnCode))handler
    API_AVAILABLE(macos(10.9));
@end

@interface NSImage : NSObject <NSCopying>
+ (nullable instancetype)imageWithSystemSymbolName:(NSString*)name
                          accessibilityDescription:(nullable NSString*)description
    API_AVAILABLE(macos(11.0));
// A property "template" in the SDK, whose compiler takes the C++ keyword for a name.
- (BOOL)isTemplate;
- (void)setTemplate:(BOOL)isTemplate;
@end

typedef NSInteger NSControlStateValue __attribute__((swift_newtype(struct)));
static const NSControlStateValue NSControlStateValueOff = 0;
static const NSControlStateValue NSControlStateValueOn = 1;

@interface NSMenuItem : NSObject <NSCopying>
+ (NSMenuItem*)separatorItem;
- (instancetype)initWithTitle:(NSString*)string
                       action:(nullable SEL)selector
                keyEquivalent:(NSString*)charCode NS_DESIGNATED_INITIALIZER;
@property(nullable, strong) NSMenu* submenu;
@property NSControlStateValue state;
@property(getter=isEnabled) BOOL enabled;
@property(nullable, weak) id target;
@property(nullable, strong) id representedObject;
@end

@interface NSMenu : NSObject <NSCopying>
- (instancetype)initWithTitle:(NSString*)title NS_DESIGNATED_INITIALIZER;
- (void)addItem:(NSMenuItem*)newItem;
- (void)removeAllItems API_AVAILABLE(macos(10.6));
@property(nullable, weak) id<NSMenuDelegate> delegate;
@end

@protocol NSMenuDelegate <NSObject>
@optional
- (void)menuNeedsUpdate:(NSMenu*)menu;
@end

@interface NSStatusBarButton : NSButton
@end

@interface NSStatusItem : NSObject
@property(nullable, readonly, strong) NSStatusBarButton* button API_AVAILABLE(macos(10.10));
@property(nullable, strong) NSMenu* menu;
@end

static const CGFloat NSVariableStatusItemLength = -1.0;

@interface NSStatusBar : NSObject
@property(class, readonly, strong) NSStatusBar* systemStatusBar;
- (NSStatusItem*)statusItemWithLength:(CGFloat)length;
- (void)removeStatusItem:(NSStatusItem*)item;
@end

typedef NSString* NSPasteboardType __attribute__((swift_bridged_typedef));
extern NSPasteboardType const NSPasteboardTypeString API_AVAILABLE(macos(10.6));

@interface NSPasteboard : NSObject
@property(class, readonly, strong) NSPasteboard* generalPasteboard;
- (NSInteger)clearContents API_AVAILABLE(macos(10.6));
- (BOOL)setString:(NSString*)string forType:(NSPasteboardType)dataType;
@end

@interface NSRunningApplication : NSObject
@end

@interface NSWorkspaceOpenConfiguration : NSObject <NSCopying>
+ (instancetype)configuration;
@property BOOL createsNewApplicationInstance;
@property(copy) NSDictionary<NSString*, NSString*>* environment API_AVAILABLE(macos(10.15));
@end

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
- (BOOL)openURL:(NSURL*)url;
- (void)openApplicationAtURL:(NSURL*)applicationURL
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(void (^_Nullable)(NSRunningApplication* _Nullable app,
                                                NSError* _Nullable error))completionHandler
    API_AVAILABLE(macos(10.15));
@end

NS_ASSUME_NONNULL_END

#endif
