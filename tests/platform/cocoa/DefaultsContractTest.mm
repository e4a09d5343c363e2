// NSUserDefaults under the defaults contract, in a domain of each test's own.
#include "tests/platform/services/DefaultsContract.h"
#include "platform/cocoa/CocoaUserDefaults.h"

#import <Foundation/Foundation.h>

namespace {

class CocoaDefaultsHarness final : public DefaultsHarness {
  public:
    ~CocoaDefaultsHarness() override {
        [NSUserDefaults.standardUserDefaults removePersistentDomainForName:domain_];
    }
    std::unique_ptr<platform::UserDefaults> open() override {
        return std::make_unique<platform::cocoa::CocoaUserDefaults>(
            [[NSUserDefaults alloc] initWithSuiteName:domain_]);
    }

  private:
    NSString* domain_ = [@"app.example." stringByAppendingString:NSUUID.UUID.UUIDString];
};

std::unique_ptr<DefaultsHarness> cocoaDefaults() {
    return std::make_unique<CocoaDefaultsHarness>();
}

INSTANTIATE_TEST_SUITE_P(Cocoa, DefaultsContract, testing::Values(cocoaDefaults));
INSTANTIATE_TEST_SUITE_P(Cocoa, PersistentDefaultsContract, testing::Values(cocoaDefaults));

} // namespace
