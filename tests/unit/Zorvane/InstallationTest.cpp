#include "mac/Zorvane/Installation.h"

#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/InMemorySystem.h"
#include "platform/testing/ManualScheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Installation : public ::testing::Test {
  protected:
    void enroll() {
        zorvane::enrollAtLoginStep({.service = service,
                                    .defaults = defaults,
                                    .bundle = bundle,
                                    .folders = folders,
                                    .log = log})("Applied");
    }

    bool move(const platform::Environment& environment) {
        const auto step =
            zorvane::moveToApplicationsStep({.application = application,
                                             .alerts = alerts,
                                             .bundle = bundle,
                                             .folders = folders,
                                             .files = files,
                                             .trees = trees,
                                             .commands = commands,
                                             .workspace = workspace,
                                             .mainQueue = scheduler.mainQueue(),
                                             .terminate = [this] { ++terminations; }});
        return step("Zorvane", "OSTRA_DEV_NO_MOVE", environment);
    }

    platform::testing::Events events;
    platform::testing::FakeLoginService service{events};
    platform::testing::InMemoryDefaults defaults;
    platform::testing::RecordingLog log;
    platform::testing::FakeBundle bundle; // in /Apps, where nothing is installed
    platform::ApplicationFolders folders{.system = "/Applications", .user = "/home/a/Applications"};
    platform::testing::FakeApplication application{events};
    platform::testing::FakeAlerts alerts{events};
    platform::testing::InMemoryFiles files;
    platform::testing::FakeFolderTree trees{events};
    platform::testing::FakeCommandRunner commands;
    platform::testing::FakeWorkspace workspace{events};
    platform::testing::ManualScheduler scheduler;
    int terminations = 0;
};

TEST_F(Installation, enrollsAtLoginOnlyWhatIsInstalled) {
    enroll();
    bundle.path.reset();
    enroll();
    EXPECT_THAT(events, IsEmpty());
    bundle.path = "/Applications/Zorvane.app";
    enroll();
    EXPECT_THAT(events, ElementsAre("register at login by default"));
    EXPECT_TRUE(defaults.boolean("Applied"));
}

TEST_F(Installation, logsAnEnrolmentThatFailed) {
    bundle.path = "/Applications/Zorvane.app";
    service.failure = "no";
    enroll();
    EXPECT_THAT(log.lines,
                ElementsAre("login-item default enroll failed (will retry next launch): no"));
}

TEST_F(Installation, offersTheMoveAtALaunchUnlessADeveloperDoesNotWantIt) {
    EXPECT_FALSE(move({{"OSTRA_DEV_NO_MOVE", "1"}}));
    EXPECT_THAT(events, IsEmpty());
    EXPECT_TRUE(move({}));
    EXPECT_THAT(events, Contains("alert Move Zorvane to the Applications folder?"));
    workspace.openCompletion({.launched = true});
    scheduler.runReady();
    EXPECT_EQ(terminations, 1);
}

} // namespace
