// What Zorvane uses of Core Foundation: the geometry that Foundation's is made of, strings,
// character sets, number formatters and the main run loop.
#ifndef ZORVANE_INTERFACE_COREFOUNDATION
#define ZORVANE_INTERFACE_COREFOUNDATION

#include <MacTypes.h>
#include <os/availability.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef double CGFloat;

struct CGPoint {
    CGFloat x;
    CGFloat y;
};
typedef struct CGPoint CGPoint;

struct CGSize {
    CGFloat width;
    CGFloat height;
};
typedef struct CGSize CGSize;

struct CGRect {
    CGPoint origin;
    CGSize size;
};
typedef struct CGRect CGRect;

typedef signed long CFIndex;
typedef unsigned long CFTypeID;
typedef const void* CFTypeRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef const struct __CFLocale* CFLocaleRef;
typedef const struct __CFCharacterSet* CFCharacterSetRef;
typedef struct __CFNumberFormatter* CFNumberFormatterRef;
typedef struct __CFRunLoop* CFRunLoopRef;

typedef struct {
    CFIndex location;
    CFIndex length;
} CFRange;

static inline CFRange CFRangeMake(CFIndex loc, CFIndex len) {
    CFRange range;
    range.location = loc;
    range.length = len;
    return range;
}

CFTypeID CFGetTypeID(CFTypeRef cf);
void CFRelease(CFTypeRef cf);

// CFNumber.h

CFTypeID CFBooleanGetTypeID(void);

// CFString.h

typedef UInt32 CFStringEncoding;
enum : CFStringEncoding {
    kCFStringEncodingUTF8 = 0x08000100,
};

CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);
CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef alloc, CFIndex maxLength,
                                             CFStringRef theString);
CFIndex CFStringGetLength(CFStringRef theString);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding,
                         UInt8 lossByte, Boolean isExternalRepresentation, UInt8* buffer,
                         CFIndex maxBufLen, CFIndex* usedBufLen);
CFRange CFStringGetRangeOfComposedCharactersAtIndex(CFStringRef theString, CFIndex theIndex);
void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef locale);
void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef locale);

// CFCharacterSet.h

typedef CFIndex CFCharacterSetPredefinedSet;
enum : CFCharacterSetPredefinedSet {
    kCFCharacterSetNonBase = 8,
    kCFCharacterSetAlphaNumeric = 10,
};

CFCharacterSetRef CFCharacterSetGetPredefined(CFCharacterSetPredefinedSet theSetIdentifier);
Boolean CFCharacterSetIsLongCharacterMember(CFCharacterSetRef theSet, UTF32Char theChar);

// CFLocale.h, CFNumber.h, CFNumberFormatter.h

typedef CFIndex CFNumberType;
enum : CFNumberType {
    kCFNumberSInt64Type = 4,
};

typedef CFIndex CFNumberFormatterStyle;
enum : CFNumberFormatterStyle {
    kCFNumberFormatterDecimalStyle = 1,
};

CFLocaleRef CFLocaleCopyCurrent(void);
CFNumberFormatterRef CFNumberFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                             CFNumberFormatterStyle style);
CFStringRef CFNumberFormatterCreateStringWithValue(CFAllocatorRef allocator,
                                                   CFNumberFormatterRef formatter,
                                                   CFNumberType numberType, const void* valuePtr);

// CFRunLoop.h

typedef CFStringRef CFRunLoopMode;
extern const CFRunLoopMode kCFRunLoopCommonModes;

CFRunLoopRef CFRunLoopGetMain(void);
void CFRunLoopWakeUp(CFRunLoopRef rl);
#if __BLOCKS__
void CFRunLoopPerformBlock(CFRunLoopRef rl, CFTypeRef mode, void (^block)(void))
    API_AVAILABLE(macos(10.6));
#endif

#ifdef __cplusplus
}
#endif

#endif
