#include "platform/cocoa/Text.h"

namespace platform::cocoa {

NSString* toFoundation(std::string_view text) {
    NSString* const decoded = [[NSString alloc] initWithBytes:text.data()
                                                       length:text.size()
                                                     encoding:NSUTF8StringEncoding];
    if (decoded != nil) {
        return decoded;
    }
    return [[NSString alloc] initWithBytes:text.data()
                                    length:text.size()
                                  encoding:NSISOLatin1StringEncoding];
}

std::optional<std::string> fromFoundation(NSString* text) {
    const char* const bytes = text.UTF8String;
    return bytes == nullptr ? std::nullopt : std::optional<std::string>(bytes);
}

std::optional<std::filesystem::path> pathOf(NSURL* url) {
    if (url == nil) {
        return std::nullopt;
    }
    return url.fileSystemRepresentation;
}

} // namespace platform::cocoa
