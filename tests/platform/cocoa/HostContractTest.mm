// What Foundation says of this computer, beside what other parts of the system say.
#include "platform/cocoa/CocoaHost.h"
#include "platform/cocoa/Text.h"
#include "tests/platform/services/ScopedVariable.h"

#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

#include <ctime>

namespace {

using platform::LocalTime;
using platform::cocoa::CocoaHost;

TEST(CocoaHost, hasANameThatIsNotEmptyIfItHasOne) {
    const auto name = CocoaHost().computerName();
    EXPECT_EQ(name, platform::cocoa::fromFoundation(NSHost.currentHost.localizedName));
    EXPECT_NE(name, "");
}

TEST(CocoaHost, knowsHomeFolders) {
    const CocoaHost host;
    EXPECT_EQ(host.homeFolder(), platform::cocoa::fromFoundation(NSHomeDirectory()));
    const auto user = platform::cocoa::fromFoundation(NSUserName());
    ASSERT_TRUE(user);
    EXPECT_EQ(host.homeFolderOf(*user), host.homeFolder());
    EXPECT_EQ(host.homeFolderOf("root"), "/var/root");
    EXPECT_EQ(host.homeFolderOf("nobody-has-this-name"), std::nullopt);
    EXPECT_EQ(host.homeFolderOf(""), std::nullopt);
}

TEST(CocoaHost, readsTheTimeOfTheProcessesZone) {
    const auto moment = platform::WallTime(std::chrono::seconds(1'738'314'764));
    const CocoaHost host;
    {
        const ScopedVariable zone("TZ", "UTC0");
        ::tzset();
        EXPECT_EQ(host.localTime(moment), (LocalTime{2025, 1, 31, 9, 12, 44}));
        EXPECT_EQ(host.localTime(moment - std::chrono::microseconds(1)),
                  (LocalTime{2025, 1, 31, 9, 12, 43}));
        EXPECT_EQ(host.localTime(platform::WallTime(std::chrono::seconds(-1))),
                  (LocalTime{1969, 12, 31, 23, 59, 59}));
    }
    {
        const ScopedVariable zone("TZ", "TEST-05:30");
        ::tzset();
        EXPECT_EQ(host.localTime(moment), (LocalTime{2025, 1, 31, 14, 42, 44}));
    }
    ::tzset();
}

} // namespace
