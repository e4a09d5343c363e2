#include "platform/cocoa/text/CfPtr.h"

#include <new>

namespace platform::cocoa {

CfPtr<CFStringRef> toCoreFoundation(std::string_view text) {
    CfPtr<CFStringRef> made(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
    if (!made) {
        throw std::bad_alloc();
    }
    return made;
}

std::string fromCoreFoundation(CFStringRef text) {
    const CFIndex length = CFStringGetLength(text);
    const CFIndex most = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8);
    std::string bytes(static_cast<std::size_t>(most), '\0');
    std::size_t filled = 0;
    for (CFIndex start = 0; start < length;) {
        CFIndex used = 0;
        start += CFStringGetBytes(text, CFRangeMake(start, length - start), kCFStringEncodingUTF8,
                                  0, false, reinterpret_cast<UInt8*>(bytes.data() + filled),
                                  static_cast<CFIndex>(bytes.size() - filled), &used);
        filled += static_cast<std::size_t>(used);
        if (start < length) { // it stopped at what UTF-8 cannot say
            constexpr std::string_view replacement = "\uFFFD";
            bytes.replace(filled, replacement.size(), replacement);
            filled += replacement.size();
            ++start;
        }
    }
    bytes.resize(filled);
    return bytes;
}

} // namespace platform::cocoa
