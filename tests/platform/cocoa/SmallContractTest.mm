// Random bytes and loopback ports under their contracts; notifications by way of the system's
// center.
#include "platform/cocoa/CocoaNotificationCenter.h"
#include "platform/cocoa/crypto/SecurityRandomSource.h"
#include "platform/posix/PosixLoopbackPorts.h"
#include "platform/testing/ManualScheduler.h"
#include "tests/platform/services/SmallContracts.h"

#import <Foundation/Foundation.h>
#include <gmock/gmock.h>

#include <stdexcept>

namespace {

std::unique_ptr<platform::RandomSource> security() {
    return std::make_unique<platform::cocoa::SecurityRandomSource>();
}
std::unique_ptr<platform::LoopbackPorts> posixPorts() {
    return std::make_unique<platform::PosixLoopbackPorts>();
}

INSTANTIATE_TEST_SUITE_P(Security, RandomSourceContract, testing::Values(security));
INSTANTIATE_TEST_SUITE_P(Posix, LoopbackPortsContract, testing::Values(posixPorts));

// Handlers run on the main operation queue, which calls them at once for a notification that is
// posted on the main thread.
class CocoaNotificationCenterTest : public testing::Test {
  protected:
    std::function<void()> note(std::string text) {
        return [this, text = std::move(text)] { heard.push_back(text); };
    }

    const std::string name = NSUUID.UUID.UUIDString.UTF8String;
    platform::testing::ManualScheduler scheduler;
    platform::cocoa::CocoaNotificationCenter center{scheduler.mainQueue()};
    std::vector<std::string> heard;
};

TEST_F(CocoaNotificationCenterTest, callsTheHandlersOfANameInTheOrderOfTheirRegistration) {
    center.observe(name, note("first"));
    center.observe(name + ".other", note("wrong"));
    center.observe(name, note("second"));
    center.post(name);
    EXPECT_TRUE(heard.empty()) << "post called a handler itself";

    scheduler.runReady();

    EXPECT_THAT(heard, testing::ElementsAre("first", "second"));
}

TEST_F(CocoaNotificationCenterTest, hearsWhatOthersPostInThisProcess) {
    center.observe(name, note("heard"));
    [NSNotificationCenter.defaultCenter postNotificationName:@(name.c_str()) object:nil];
    EXPECT_THAT(heard, testing::ElementsAre("heard"));
}

TEST_F(CocoaNotificationCenterTest, refusesObserversOfOtherThreads) {
    scheduler.leaveMainThread();
    EXPECT_THROW(center.observe(name, note("never")), std::logic_error);
}

} // namespace
