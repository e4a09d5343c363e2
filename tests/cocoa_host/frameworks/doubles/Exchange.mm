#include "tests/cocoa_host/frameworks/doubles/Exchange.h"

#include <cstdio>
#include <cstdlib>

extern "C" {
struct objc_method;
objc_method* class_getInstanceMethod(Class owner, SEL selector);
void method_exchangeImplementations(objc_method* one, objc_method* other);
}

namespace cocoa_host {

void exchange(NSString* className, SEL original, SEL replacement) {
    const Class owner = NSClassFromString(className);
    objc_method* const one = class_getInstanceMethod(owner, original);
    objc_method* const other = class_getInstanceMethod(owner, replacement);
    if (one == nullptr || other == nullptr) {
        std::fprintf(stderr, "GNUstep's %s has no %s\n", className.UTF8String,
                     NSStringFromSelector(original).UTF8String);
        std::abort();
    }
    method_exchangeImplementations(one, other);
}

} // namespace cocoa_host
