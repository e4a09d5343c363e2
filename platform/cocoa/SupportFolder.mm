#include "platform/cocoa/SupportFolder.h"

#include "platform/cocoa/Text.h"

namespace platform::cocoa {

std::expected<std::filesystem::path, std::string> supportFolder() {
    NSError* error = nil;
    NSURL* const folder =
        [NSFileManager.defaultManager URLForDirectory:NSApplicationSupportDirectory
                                             inDomain:NSUserDomainMask
                                    appropriateForURL:nil
                                               create:NO
                                                error:&error];
    if (auto path = pathOf(folder)) {
        return *std::move(path);
    }
    return std::unexpected("the user's Application Support folder cannot be found: " +
                           fromFoundation(error.localizedDescription).value_or("no reason given"));
}

} // namespace platform::cocoa
