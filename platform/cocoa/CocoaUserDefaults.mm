#include "platform/cocoa/CocoaUserDefaults.h"

#include "platform/cocoa/Text.h"

namespace platform::cocoa {

CocoaUserDefaults::CocoaUserDefaults(NSUserDefaults* defaults) : defaults_(defaults) {}

std::int64_t CocoaUserDefaults::integer(std::string_view key) const {
    @autoreleasepool {
        return [defaults_ integerForKey:toFoundation(key)];
    }
}

void CocoaUserDefaults::setInteger(std::string_view key, std::int64_t value) {
    @autoreleasepool {
        [defaults_ setInteger:NSInteger{value} forKey:toFoundation(key)];
    }
}

bool CocoaUserDefaults::boolean(std::string_view key) const {
    @autoreleasepool {
        return [defaults_ boolForKey:toFoundation(key)];
    }
}

void CocoaUserDefaults::setBoolean(std::string_view key, bool value) {
    @autoreleasepool {
        [defaults_ setBool:value forKey:toFoundation(key)];
    }
}

void CocoaUserDefaults::remove(std::string_view key) {
    @autoreleasepool {
        [defaults_ removeObjectForKey:toFoundation(key)];
    }
}

} // namespace platform::cocoa
