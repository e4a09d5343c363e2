// https://developer.apple.com/documentation/corefoundation/cfstring
#include "platform/TextTables.h"
#include "platform/Utf8.h"
#include "platform/cocoa/text/CfPtr.h"

#include <new>

namespace platform::tables {
namespace {

using CaseMapping = void (*)(CFMutableStringRef, CFLocaleRef);

std::string mapped(std::string_view text, CaseMapping mapping) {
    const auto original = cocoa::toCoreFoundation(text);
    const cocoa::CfPtr<CFMutableStringRef> copy(
        CFStringCreateMutableCopy(nullptr, 0, original.get()));
    if (!copy) {
        throw std::bad_alloc();
    }
    mapping(copy.get(), nullptr); // no locale: the mapping that all languages share
    return cocoa::fromCoreFoundation(copy.get());
}

// The length in bytes of what takes `units` in UTF-16.
std::size_t bytesOf(std::string_view text, CFIndex units) {
    std::size_t bytes = 0;
    while (units > 0 && bytes < text.size()) {
        const std::size_t length = utf8CharacterLength(text.substr(bytes));
        bytes += length;
        units -= length == 4 ? 2 : 1;
    }
    return bytes;
}

} // namespace

std::string upperCased(std::string_view text) {
    return mapped(text, CFStringUppercase);
}

std::string lowerCased(std::string_view text) {
    return mapped(text, CFStringLowercase);
}

bool isLetterOrNumber(char32_t codePoint) {
    // L*, M* and N*, of which M* is non-base.
    return CFCharacterSetIsLongCharacterMember(
               CFCharacterSetGetPredefined(kCFCharacterSetAlphaNumeric), codePoint) != 0 &&
           CFCharacterSetIsLongCharacterMember(CFCharacterSetGetPredefined(kCFCharacterSetNonBase),
                                               codePoint) == 0;
}

void visitCharacters(std::string_view text, const std::function<bool(std::string_view)>& visit) {
    const auto units = cocoa::toCoreFoundation(text);
    const CFIndex length = CFStringGetLength(units.get());
    CFIndex start = 0;
    while (start < length && !text.empty()) {
        const CFRange range = CFStringGetRangeOfComposedCharactersAtIndex(units.get(), start);
        CFIndex end = range.location + range.length;
        if (text.starts_with("\r\n") && end == start + 1) {
            ++end; // a line end of two is a sequence for Unicode, not for CFString
        }
        const std::size_t bytes = bytesOf(text, end - start);
        if (bytes == 0 || !visit(text.substr(0, bytes))) {
            return;
        }
        text.remove_prefix(bytes);
        start = end;
    }
}

} // namespace platform::tables
