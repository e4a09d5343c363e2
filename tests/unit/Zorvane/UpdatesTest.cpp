#include "mac/Zorvane/Updates.h"

#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/InMemorySystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zorvane {
namespace {

using ::testing::Contains;
using ::testing::IsEmpty;

class UpdatesStep : public ::testing::Test {
  protected:
    platform::testing::Events events;
    platform::testing::FakeUpdateFramework framework{events};
    platform::testing::FakeBundle bundle;
    LaunchSteps steps{.moveToApplicationsIfNeeded = {},
                      .makeUpdater = updaterStep(bundle, framework),
                      .enrollAtLoginOnceByDefault = {}};
};

TEST_F(UpdatesStep, makesNoUpdaterForABundleThatIsNotConfigured) {
    EXPECT_EQ(steps.makeUpdater([] { return false; }), nullptr);
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(UpdatesStep, makesAnUpdaterThatChecksWhenAskedAndAsksWhetherItMayShow) {
    bundle.info = {{"SUPublicEDKey", "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8="},
                   {"SUFeedURL", "https://zorvane.app/appcast.xml"}};
    bool asked = false;
    const auto updater = steps.makeUpdater([&asked] {
        asked = true;
        return false;
    });
    ASSERT_NE(updater, nullptr);
    updater->checkForUpdates();
    EXPECT_THAT(events, Contains("check for updates"));
    EXPECT_TRUE(framework.delegate->shouldHandleShowingScheduledUpdate(false));
    EXPECT_TRUE(asked);
}

} // namespace
} // namespace zorvane
