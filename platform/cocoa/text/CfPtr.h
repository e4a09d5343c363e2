// Owns one reference to a CoreFoundation object, and C++ text made of CoreFoundation's. Any thread.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

namespace platform::cocoa {

struct CfRelease {
    void operator()(CFTypeRef object) const { CFRelease(object); }
};

// For what a function with Create or Copy in its name returned.
template <typename Ref>
using CfPtr = std::unique_ptr<std::remove_pointer_t<Ref>, CfRelease>;

// The text must be well-formed UTF-8. Throws std::bad_alloc.
[[nodiscard]] CfPtr<CFStringRef> toCoreFoundation(std::string_view text);
// A lone surrogate becomes U+FFFD.
[[nodiscard]] std::string fromCoreFoundation(CFStringRef text);

} // namespace platform::cocoa
