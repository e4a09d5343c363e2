#include "platform/cocoa/CocoaWorkspace.h"

#include "platform/cocoa/Text.h"

#import <AppKit/AppKit.h>

#include <fmt/format.h>

namespace platform::cocoa {

void CocoaWorkspace::openUrl(const std::string& url) {
    @autoreleasepool {
        NSURL* const address = [NSURL URLWithString:toFoundation(url)];
        if (address == nil || ![NSWorkspace.sharedWorkspace openURL:address]) {
            log_.write(fmt::format("cannot open {}", url));
        }
    }
}

void CocoaWorkspace::openNewInstance(const std::filesystem::path& bundle,
                                     std::function<void(OpenResult)> completion) {
    @autoreleasepool {
        NSWorkspaceOpenConfiguration* const configuration =
            [NSWorkspaceOpenConfiguration configuration];
        configuration.createsNewApplicationInstance = YES;
        NSMutableDictionary<NSString*, NSString*>* const environment =
            [NSMutableDictionary dictionary];
        environment[toFoundation(newInstanceVariable)] = @"1";
        configuration.environment = environment;
        NSURL* const application = [NSURL fileURLWithFileSystemRepresentation:bundle.c_str()
                                                                  isDirectory:YES
                                                                relativeToURL:nil];
        [NSWorkspace.sharedWorkspace
            openApplicationAtURL:application
                   configuration:configuration
               completionHandler:^(NSRunningApplication* running, NSError* error) {
                 completion(
                     {.launched = running != nil,
                      .error = fromFoundation(error.localizedDescription).value_or(std::string())});
               }];
    }
}

} // namespace platform::cocoa
