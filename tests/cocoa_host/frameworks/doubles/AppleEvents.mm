#include "tests/cocoa_host/frameworks/doubles/AppleEvents.h"

#import <Foundation/Foundation.h>

namespace cocoa_host {
namespace {

const CurrentAppleEvent* current = nullptr;

} // namespace

CurrentAppleEvent::CurrentAppleEvent(std::uint32_t eventClass, std::uint32_t eventId,
                                     std::optional<std::uint32_t> why, CodeKind kind)
    : eventClass(eventClass), eventId(eventId), why(why), kind(kind) {
    current = this;
}

CurrentAppleEvent::~CurrentAppleEvent() { current = nullptr; }

} // namespace cocoa_host

using cocoa_host::CodeKind;
using cocoa_host::current;

// The event, and its attribute "why?", in one object.
@interface HostAppleEvent : NSObject
@end
@implementation HostAppleEvent
- (AEEventClass)eventClass {
    return current->eventClass;
}
- (AEEventID)eventID {
    return current->eventId;
}
- (OSType)enumCodeValue {
    return current->kind == CodeKind::enumeration ? current->why.value_or(0) : 0;
}
- (OSType)typeCodeValue {
    return current->kind == CodeKind::type ? current->why.value_or(0) : 0;
}
- (id)attributeDescriptorForKeyword:(AEKeyword)keyword {
    constexpr AEKeyword why = 0x7768793F;
    return keyword == why && current->why ? self : nil;
}
@end

@interface NSAppleEventManager (Host)
@end
@implementation NSAppleEventManager (Host)
+ (NSAppleEventManager*)sharedAppleEventManager {
    static NSAppleEventManager* const manager = [[NSAppleEventManager alloc] init];
    return manager;
}
- (NSAppleEventDescriptor*)currentAppleEvent {
    id const event = current == nullptr ? nil : [[HostAppleEvent alloc] init];
    return event;
}
@end
