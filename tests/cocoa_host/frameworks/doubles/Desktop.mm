#include "tests/cocoa_host/frameworks/doubles/Desktop.h"

#include "tests/cocoa_host/frameworks/doubles/Exchange.h"

#include <dispatch/dispatch.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>

namespace cocoa_host {

Desktop& desktop() {
    static auto* const only = new Desktop;
    return *only;
}

namespace {

void runElsewhere(std::function<void()> task) {
    dispatch_async_f(dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0),
                     new std::function<void()>(std::move(task)), [](void* context) {
                         const std::unique_ptr<std::function<void()>> owned(
                             static_cast<std::function<void()>*>(context));
                         @autoreleasepool {
                             (*owned)();
                         }
                     });
}

} // namespace
} // namespace cocoa_host

using cocoa_host::desktop;

@interface NSApplication (HostDesktop)
@end
@implementation NSApplication (HostDesktop)
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy {
    desktop().activationPolicy = policy;
    return YES;
}
- (void)host_activateIgnoringOtherApps:(BOOL)ignoring {
    desktop().activations += ignoring ? 1 : 0;
    [self host_activateIgnoringOtherApps:ignoring];
}
@end

@interface HostSymbol : NSImage
@property (nonatomic, copy) NSString* symbolDescription;
@property (nonatomic) BOOL followsTheBar;
@end
@implementation HostSymbol
- (BOOL)isTemplate {
    return self.followsTheBar;
}
- (void)setTemplate:(BOOL)isTemplate {
    self.followsTheBar = isTemplate;
}
@end

@interface NSImage (HostSymbols)
@end
@implementation NSImage (HostSymbols)
+ (instancetype)imageWithSystemSymbolName:(NSString*)name
                 accessibilityDescription:(NSString*)description {
    if (std::ranges::find(cocoa_host::knownSymbols, std::string(name.UTF8String)) ==
        std::end(cocoa_host::knownSymbols)) {
        return nil;
    }
    HostSymbol* const made = [[HostSymbol alloc] initWithSize:NSMakeSize(16, 16)];
    made.symbolDescription = description;
    return made;
}
@end

namespace cocoa_host {

std::string descriptionOf(NSImage* image) {
    return static_cast<HostSymbol*>(image).symbolDescription.UTF8String;
}

} // namespace cocoa_host

@interface NSMenu (HostItems)
@end
@implementation NSMenu (HostItems)
- (void)removeAllItems {
    while (self.numberOfItems > 0) {
        [self removeItemAtIndex:0];
    }
}
@end

@interface NSPasteboard (Gnustep)
- (NSInteger)addTypes:(NSArray*)types owner:(id)owner;
@end
@implementation NSPasteboard (HostContents)
- (NSInteger)clearContents {
    return [self declareTypes:@[] owner:nil];
}
- (BOOL)host_setString:(NSString*)text forType:(NSString*)type {
    [self addTypes:@[ type ] owner:nil];
    return [self host_setString:text forType:type];
}
@end

@implementation NSWorkspaceOpenConfiguration {
    NSDictionary<NSString*, NSString*>* _environment;
}
@synthesize createsNewApplicationInstance = _createsNewApplicationInstance;
- (NSDictionary<NSString*, NSString*>*)environment {
    return _environment;
}
- (void)setEnvironment:(NSDictionary<NSString*, NSString*>*)environment {
    _environment = [environment copy];
}
+ (instancetype)configuration {
    return [[self alloc] init];
}
- (id)copyWithZone:(struct _NSZone*)__unused zone {
    return self;
}
@end

@interface NSWorkspace (Host)
@end
@implementation NSWorkspace (Host)
- (BOOL)host_openURL:(NSURL*)url {
    desktop().openedUrls.emplace_back(url.absoluteString.UTF8String);
    return desktop().opensUrls;
}
// The handler is called on another thread, once.
- (void)openApplicationAtURL:(NSURL*)url
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(void (^)(NSRunningApplication*, NSError*))handler {
    std::vector<std::string> variables;
    std::vector<std::string>* const filled = &variables;
    [configuration.environment
        enumerateKeysAndObjectsUsingBlock:^(NSString* name, NSString*, BOOL*) {
          filled->emplace_back(name.UTF8String);
        }];
    desktop().openedApplications.push_back({url.fileSystemRepresentation,
                                            configuration.createsNewApplicationInstance != NO,
                                            std::move(variables)});
    NSError* const error =
        desktop().launchError.empty()
            ? nil
            : [NSError errorWithDomain:@"NSCocoaErrorDomain"
                                  code:256
                              userInfo:@{
                                  NSLocalizedDescriptionKey :
                                      [NSString stringWithUTF8String:desktop().launchError.c_str()]
                              }];
    NSRunningApplication* const running = error == nil ? [[NSRunningApplication alloc] init] : nil;
    void (^const kept)(NSRunningApplication*, NSError*) = handler;
    cocoa_host::runElsewhere([=] { kept(running, error); });
}
@end

namespace cocoa_host {

void adaptModalWindows();

} // namespace cocoa_host

extern "C" void cocoaHostAdaptAppKit() {
    using cocoa_host::exchange;
    cocoa_host::adaptModalWindows();
    exchange(@"NSApplication", @selector(activateIgnoringOtherApps:),
             @selector(host_activateIgnoringOtherApps:));
    exchange(@"NSWorkspace", @selector(openURL:), @selector(host_openURL:));
    exchange(@"NSPasteboard", @selector(setString:forType:), @selector(host_setString:forType:));
}
