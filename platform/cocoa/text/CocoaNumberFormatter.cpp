#include "platform/cocoa/text/CocoaNumberFormatter.h"

#include "platform/cocoa/text/CfPtr.h"

namespace platform::cocoa {

std::string CocoaNumberFormatter::decimal(std::int64_t number) const {
    const CfPtr<CFLocaleRef> locale(CFLocaleCopyCurrent());
    const CfPtr<CFNumberFormatterRef> formatter(
        CFNumberFormatterCreate(nullptr, locale.get(), kCFNumberFormatterDecimalStyle));
    if (formatter) {
        const CfPtr<CFStringRef> text(CFNumberFormatterCreateStringWithValue(
            nullptr, formatter.get(), kCFNumberSInt64Type, &number));
        if (text) {
            return fromCoreFoundation(text.get());
        }
    }
    return std::to_string(number);
}

} // namespace platform::cocoa
