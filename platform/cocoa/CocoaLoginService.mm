#include "platform/cocoa/CocoaLoginService.h"

#include "platform/cocoa/Text.h"

#import <ServiceManagement/ServiceManagement.h>

namespace platform::cocoa {
namespace {

std::expected<void, std::string> resultOf(BOOL succeeded, NSError* error) {
    if (succeeded) {
        return {};
    }
    return std::unexpected(fromFoundation(error.localizedDescription).value_or("no reason given"));
}

} // namespace

LoginServiceStatus CocoaLoginService::status() const {
    @autoreleasepool {
        switch (SMAppService.mainAppService.status) {
        case SMAppServiceStatusNotRegistered:
            return LoginServiceStatus::notRegistered;
        case SMAppServiceStatusEnabled:
            return LoginServiceStatus::enabled;
        case SMAppServiceStatusRequiresApproval:
            return LoginServiceStatus::requiresApproval;
        case SMAppServiceStatusNotFound:
            break;
        }
        return LoginServiceStatus::notFound;
    }
}

std::expected<void, std::string>
CocoaLoginService::registerApplication(RegistrationReason /*reason*/) {
    @autoreleasepool {
        NSError* error = nil;
        const BOOL succeeded = [SMAppService.mainAppService registerAndReturnError:&error];
        return resultOf(succeeded, error);
    }
}

std::expected<void, std::string> CocoaLoginService::unregisterApplication() {
    @autoreleasepool {
        NSError* error = nil;
        const BOOL succeeded = [SMAppService.mainAppService unregisterAndReturnError:&error];
        return resultOf(succeeded, error);
    }
}

} // namespace platform::cocoa
