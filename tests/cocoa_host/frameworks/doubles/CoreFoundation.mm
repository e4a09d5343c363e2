// CoreFoundation's text on ICU, whose tables CoreFoundation has too, and its door to the main run
// loop. https://developer.apple.com/documentation/corefoundation
#import <CoreFoundation/CoreFoundation.h>
#import <Foundation/Foundation.h>

#include "tests/cocoa_host/frameworks/doubles/MainLoop.h"

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <memory>
#include <string>

namespace {

struct CloseBreaks {
    void operator()(UBreakIterator* breaks) const { ubrk_close(breaks); }
};

} // namespace

// What CFRelease() frees.
struct CoreFoundationObject {
    virtual ~CoreFoundationObject() = default;
};

struct __CFString final : CoreFoundationObject {
    std::u16string units;
    std::unique_ptr<UBreakIterator, CloseBreaks> breaks;
};
struct __CFLocale final : CoreFoundationObject {};
struct __CFNumberFormatter final : CoreFoundationObject {};

namespace {

int32_t sizeOf(const std::u16string& units) { return static_cast<int32_t>(units.size()); }

using CaseMapping = int32_t (*)(UChar*, int32_t, const UChar*, int32_t, const char*, UErrorCode*);

void mapCase(CFMutableStringRef text, CaseMapping mapping) {
    constexpr std::size_t most = 3; // units that one can become
    std::u16string mapped(text->units.size() * most + 1, u'\0');
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = mapping(mapped.data(), sizeOf(mapped), text->units.data(),
                                   sizeOf(text->units), "", &status);
    mapped.resize(static_cast<std::size_t>(length));
    text->units = std::move(mapped);
}

UBreakIterator* charactersOf(CFStringRef text) {
    auto* const writable = const_cast<__CFString*>(text);
    if (!writable->breaks) {
        UErrorCode status = U_ZERO_ERROR;
        writable->breaks.reset(
            ubrk_open(UBRK_CHARACTER, "", text->units.data(), sizeOf(text->units), &status));
    }
    return writable->breaks.get();
}

} // namespace

extern "C" {

const CFRunLoopMode kCFRunLoopCommonModes = reinterpret_cast<CFStringRef>("common");
const CFRunLoopMode kCFRunLoopDefaultMode = reinterpret_cast<CFStringRef>("default");

CFRunLoopRef CFRunLoopGetMain() { return nullptr; }
void CFRunLoopWakeUp(CFRunLoopRef /*loop*/) { cocoa_host::wakeMainLoop(); }
void CFRunLoopPerformBlock(CFRunLoopRef /*loop*/, CFTypeRef /*mode*/, void (^block)(void)) {
    void (^const kept)(void) = block;
    cocoa_host::performOnMainLoop([kept] { kept(); });
}
CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode /*mode*/, double seconds,
                                      Boolean /*returnAfterSourceHandled*/) {
    constexpr CFRunLoopRunResult finished = 1;
    constexpr CFRunLoopRunResult handledSource = 4;
    @autoreleasepool {
        NSDate* const until = [NSDate dateWithTimeIntervalSinceNow:seconds];
        const bool handled = [NSRunLoop.currentRunLoop runMode:@"NSDefaultRunLoopMode"
                                                    beforeDate:until];
        return handled ? handledSource : finished;
    }
}

void CFRelease(CFTypeRef object) { delete static_cast<const CoreFoundationObject*>(object); }

// Numbers are Foundation's objects in both frameworks.
CFTypeID CFBooleanGetTypeID() { return 1; }
CFTypeID CFGetTypeID(CFTypeRef object) {
    return [(__bridge id)object isKindOfClass:NSClassFromString(@"NSBoolNumber")] ? 1 : 2;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef /*allocator*/, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding /*encoding*/, Boolean /*isExternal*/) {
    auto made = std::make_unique<__CFString>();
    made->units.resize(static_cast<std::size_t>(count));
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8(made->units.data(), static_cast<int32_t>(count), &length,
                  reinterpret_cast<const char*>(bytes), static_cast<int32_t>(count), &status);
    made->units.resize(static_cast<std::size_t>(length));
    return U_SUCCESS(status) ? made.release() : nullptr;
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef /*allocator*/, CFIndex /*maxLength*/,
                                             CFStringRef text) {
    auto made = std::make_unique<__CFString>();
    made->units = text->units;
    return made.release();
}

CFIndex CFStringGetLength(CFStringRef text) { return static_cast<CFIndex>(text->units.size()); }
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding /*encoding*/) {
    return U8_MAX_LENGTH * length;
}

// Whole characters as far as they fit, up to a lone surrogate.
CFIndex CFStringGetBytes(CFStringRef text, CFRange range, CFStringEncoding /*encoding*/,
                         UInt8 /*lossByte*/, Boolean /*isExternal*/, UInt8* buffer, CFIndex most,
                         CFIndex* used) {
    const char16_t* const units = text->units.data() + range.location;
    CFIndex read = 0;
    *used = 0;
    while (read < range.length) {
        CFIndex next = read;
        UChar32 character = 0;
        U16_NEXT(units, next, range.length, character);
        if (U_IS_SURROGATE(character) || *used + U8_LENGTH(character) > most) {
            break;
        }
        U8_APPEND_UNSAFE(buffer, *used, character);
        read = next;
    }
    return read;
}

// A line end of two is two characters to CFString.
CFRange CFStringGetRangeOfComposedCharactersAtIndex(CFStringRef text, CFIndex index) {
    const char16_t unit = text->units[static_cast<std::size_t>(index)];
    if (unit == u'\r' || unit == u'\n') {
        return CFRangeMake(index, 1);
    }
    UBreakIterator* const breaks = charactersOf(text);
    const auto place = static_cast<int32_t>(index);
    const int32_t start = ubrk_isBoundary(breaks, place) ? place : ubrk_preceding(breaks, place);
    return CFRangeMake(start, ubrk_following(breaks, place) - start);
}

void CFStringUppercase(CFMutableStringRef text, CFLocaleRef /*locale*/) {
    mapCase(text, u_strToUpper);
}
void CFStringLowercase(CFMutableStringRef text, CFLocaleRef /*locale*/) {
    mapCase(text, u_strToLower);
}

CFCharacterSetRef CFCharacterSetGetPredefined(CFCharacterSetPredefinedSet set) {
    return reinterpret_cast<CFCharacterSetRef>(set);
}
Boolean CFCharacterSetIsLongCharacterMember(CFCharacterSetRef set, UTF32Char character) {
    const auto identifier = reinterpret_cast<CFCharacterSetPredefinedSet>(set);
    const std::uint32_t categories = identifier == kCFCharacterSetNonBase
                                         ? U_GC_M_MASK
                                         : U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK;
    return (U_MASK(u_charType(static_cast<UChar32>(character))) & categories) != 0;
}

CFLocaleRef CFLocaleCopyCurrent() { return new __CFLocale; }
CFNumberFormatterRef CFNumberFormatterCreate(CFAllocatorRef /*allocator*/, CFLocaleRef /*locale*/,
                                             CFNumberFormatterStyle /*style*/) {
    return new __CFNumberFormatter;
}
// By Foundation's formatter, which knows the user's locale.
CFStringRef CFNumberFormatterCreateStringWithValue(CFAllocatorRef /*allocator*/,
                                                   CFNumberFormatterRef /*formatter*/,
                                                   CFNumberType /*type*/, const void* value) {
    @autoreleasepool {
        NSNumber* const number = @(static_cast<long>(*static_cast<const std::int64_t*>(value)));
        const char* const text =
            [NSNumberFormatter localizedStringFromNumber:number
                                             numberStyle:NSNumberFormatterDecimalStyle]
                .UTF8String;
        return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text),
                                       static_cast<CFIndex>(std::string_view(text).size()),
                                       kCFStringEncodingUTF8, false);
    }
}

} // extern "C"
