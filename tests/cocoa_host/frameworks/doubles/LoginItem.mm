#include "tests/cocoa_host/frameworks/doubles/LoginItem.h"

namespace cocoa_host {

LoginItem& loginItem() {
    static auto* const only = new LoginItem;
    return *only;
}

} // namespace cocoa_host

using cocoa_host::loginItem;

@implementation SMAppService
+ (SMAppService*)mainAppService {
    static SMAppService* const only = [[SMAppService alloc] init];
    return only;
}
- (SMAppServiceStatus)status {
    return loginItem().status;
}
- (BOOL)become:(SMAppServiceStatus)status error:(NSError**)error {
    if (loginItem().error.empty()) {
        loginItem().status = status;
        return YES;
    }
    if (error != nullptr) {
        NSString* const text = [NSString stringWithUTF8String:loginItem().error.c_str()];
        *error = [NSError errorWithDomain:@"SMAppServiceErrorDomain"
                                     code:1
                                 userInfo:@{NSLocalizedDescriptionKey : text}];
    }
    return NO;
}
- (BOOL)registerAndReturnError:(NSError**)error {
    return [self become:SMAppServiceStatusEnabled error:error];
}
- (BOOL)unregisterAndReturnError:(NSError**)error {
    return [self become:SMAppServiceStatusNotRegistered error:error];
}
@end
