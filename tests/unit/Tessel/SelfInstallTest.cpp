#include "mac/Tessel/Application/SelfInstall.h"

#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/InMemorySystem.h"
#include "platform/testing/ManualScheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace {

using tessel::SelfInstall;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

class SelfInstallTest : public ::testing::Test {
  protected:
    static constexpr const char* devSkip = "SKIP_THE_MOVE";

    SelfInstallTest() {
        bundle.path = "/home/ann/Downloads/Zorvane.app";
        trees.writable = {"/Applications"};
    }

    bool move(const platform::Environment& environment = {}, bool interactive = false) {
        return SelfInstall::moveToApplicationsIfNeeded(
            {.application = application,
             .alerts = alerts,
             .bundle = bundle,
             .folders = folders,
             .files = files,
             .trees = trees,
             .commands = commands,
             .workspace = workspace,
             .mainQueue = scheduler.mainQueue(),
             .terminate = [this] { events.emplace_back("terminate"); }},
            {.appName = "Zorvane",
             .devSkipEnvironmentKey = devSkip,
             .environment = environment,
             .interactive = interactive});
    }

    platform::testing::Events events;
    platform::testing::FakeApplication application{events};
    platform::testing::FakeAlerts alerts{events};
    platform::testing::FakeBundle bundle;
    platform::ApplicationFolders folders{
        .system = "/Applications",
        .user = "/home/ann/Applications",
        .packagePrefixes = {"/usr", "/opt"},
    };
    platform::testing::InMemoryFiles files;
    platform::testing::FakeFolderTree trees{events};
    platform::testing::FakeCommandRunner commands;
    platform::testing::FakeWorkspace workspace{events};
    platform::testing::ManualScheduler scheduler;
};

TEST(SelfInstall, isInstalledByThePrefixOfThePath) {
    const platform::ApplicationFolders folders{.system = "/Applications",
                                               .user = "/home/ann/Applications",
                                               .packagePrefixes = {"/usr", "/opt"}};
    for (const char* installed :
         {"/Applications/Zorvane.app", "/Applications/Media/Zorvane.app",
          "/home/ann/Applications/Zorvane.app", "/home/ann/Applications/a/b/Zorvane.app",
          "/usr/lib/zorvane/Zorvane.app", "/opt/Zorvane.app"}) {
        EXPECT_TRUE(SelfInstall::isInstalled(installed, folders)) << installed;
    }
    for (const char* elsewhere :
         {"/applications/Zorvane.app", "/ApplicationsOld/Zorvane.app", "/Zorvane.app",
          "/home/shared/Applications/Zorvane.app", "/home/anna/Applications/Zorvane.app",
          "/home/ann/Zorvane.app", "/home/ann/Downloads/Applications/Zorvane.app",
          "/mnt/Applications/Zorvane.app", "/usrlocal/Zorvane.app", "Applications/Zorvane.app"}) {
        EXPECT_FALSE(SelfInstall::isInstalled(elsewhere, folders)) << elsewhere;
    }
}

TEST_F(SelfInstallTest, leavesAnInstalledApplicationWhereItIs) {
    for (const char* path : {"/Applications/Zorvane.app", "/home/ann/Applications/Zorvane.app",
                             "/usr/lib/zorvane/Zorvane.app"}) {
        bundle.path = path;
        EXPECT_FALSE(move());
        EXPECT_FALSE(move({}, /*interactive=*/true));
    }
    EXPECT_THAT(alerts.shown, IsEmpty());
    EXPECT_THAT(events, Contains("clear leftovers of /Applications/Zorvane.app"));
}

TEST_F(SelfInstallTest, isSkippedByADevelopersVariableWithTheValueOneOnly) {
    EXPECT_FALSE(move({{devSkip, "1"}}));
    EXPECT_THAT(events, IsEmpty());
    for (const char* value : {"true", "yes", "", "0", "11", " 1"}) {
        alerts.answers = {1};
        alerts.shown.clear();
        EXPECT_FALSE(move({{devSkip, value}}));
        EXPECT_EQ(alerts.shown.size(), 1U) << value;
    }
}

TEST_F(SelfInstallTest, asksInSpiteOfTheVariableWhenTheUserAskedForIt) {
    alerts.answers = {1};
    EXPECT_FALSE(move({{devSkip, "1"}}, /*interactive=*/true));
    EXPECT_EQ(alerts.shown.size(), 1U);
}

TEST_F(SelfInstallTest, movesNothingThatIsNoApplicationBundle) {
    bundle.path = "/home/ann/build/Zorvane";
    EXPECT_FALSE(move());
    bundle.path = "/home/ann/build/Zorvane.App";
    EXPECT_FALSE(move());
    bundle.path.reset();
    EXPECT_FALSE(move());
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(SelfInstallTest, asksInFrontOfEverythingWithTheseWords) {
    alerts.answers = {1};
    EXPECT_FALSE(move());
    EXPECT_THAT(events, ElementsAre("activate", "alert Move Zorvane to the Applications folder?"));
    ASSERT_EQ(alerts.shown.size(), 1U);
    EXPECT_EQ(alerts.shown[0].informativeText,
              "It will relaunch from there. Updates and permissions work best that way; takes a "
              "second, nothing to drag.");
    EXPECT_THAT(alerts.shown[0].buttons, ElementsAre("Move to Applications", "Not Now"));
}

TEST_F(SelfInstallTest, changesNothingWhenTheUserDeclines) {
    trees.writable.clear();
    alerts.answers = {1};
    EXPECT_FALSE(move());
    EXPECT_THAT(files.modes, IsEmpty());
    EXPECT_THAT(commands.ran, IsEmpty());
    EXPECT_FALSE(workspace.openCompletion);
}

TEST_F(SelfInstallTest, copiesClearsTheQuarantineAndRelaunches) {
    EXPECT_TRUE(move());
    EXPECT_THAT(events, ElementsAre("activate", "alert Move Zorvane to the Applications folder?",
                                    "copy /home/ann/Downloads/Zorvane.app to "
                                    "/Applications/Zorvane.app",
                                    "open new instance /Applications/Zorvane.app"));
    EXPECT_THAT(commands.ran, ElementsAre("/usr/bin/xattr"));
    EXPECT_THAT(commands.lastArguments,
                ElementsAre("-dr", "com.apple.quarantine", "/Applications/Zorvane.app"));
}

TEST_F(SelfInstallTest, keepsTheBundlesOwnName) {
    bundle.path = "/media/disk/Zorvane 2.app";
    EXPECT_TRUE(move());
    EXPECT_THAT(events, Contains("open new instance /Applications/Zorvane 2.app"));
}

TEST_F(SelfInstallTest, copiesToTheHomeFolderWhenTheSystemsIsNotWritable) {
    trees.writable.clear();
    EXPECT_TRUE(move());
    EXPECT_THAT(files.modes, Contains(::testing::Key("/home/ann/Applications")));
    EXPECT_THAT(events, Contains("copy /home/ann/Downloads/Zorvane.app to "
                                 "/home/ann/Applications/Zorvane.app"));
}

TEST_F(SelfInstallTest, letsTheCopyTellThatTheHomeFolderCannotBeMade) {
    trees.writable.clear();
    files.createFailure = {.attempt = "cannot create", .errnoValue = EACCES};
    trees.failure = {.attempt = "cannot copy it", .errnoValue = ENOENT};
    EXPECT_FALSE(move());
    ASSERT_EQ(alerts.shown.size(), 2U);
    EXPECT_EQ(alerts.shown[1].message, "Couldn't move Zorvane");
}

TEST_F(SelfInstallTest, saysWhyACopyFailedAndGoesOnFromWhereItIs) {
    trees.failure = {.attempt = "cannot copy it", .errnoValue = ENOSPC};
    EXPECT_FALSE(move());
    ASSERT_EQ(alerts.shown.size(), 2U);
    EXPECT_EQ(alerts.shown[1].message, "Couldn't move Zorvane");
    EXPECT_EQ(alerts.shown[1].informativeText,
              "cannot copy it: No space left on device\n\nYou can drag it to Applications "
              "yourself; it keeps working from here meanwhile.");
    EXPECT_THAT(alerts.shown[1].buttons, IsEmpty());
    EXPECT_THAT(commands.ran, IsEmpty());
    EXPECT_FALSE(workspace.openCompletion);
}

TEST_F(SelfInstallTest, ignoresHowTheQuarantineProgramEnds) {
    commands.answers.emplace(
        "/usr/bin/xattr",
        platform::CommandResult{.status = {.signalled = false, .code = 1}, .output = "no"});
    EXPECT_TRUE(move());
    EXPECT_TRUE(workspace.openCompletion);
}

TEST_F(SelfInstallTest, endsTheOldInstanceOnTheMainQueueOnceTheNewOneRuns) {
    ASSERT_TRUE(move());
    events.clear();
    workspace.openCompletion({.launched = true});
    EXPECT_THAT(events, IsEmpty());
    scheduler.runReady();
    EXPECT_THAT(events, ElementsAre("terminate"));
}

TEST_F(SelfInstallTest, saysThatTheRelaunchFailedAndEndsTheOldInstanceAllTheSame) {
    ASSERT_TRUE(move());
    events.clear();
    workspace.openCompletion({.launched = false, .error = "it is damaged"});
    scheduler.runReady();
    EXPECT_THAT(events, ElementsAre("alert Couldn't relaunch from Applications", "terminate"));
    EXPECT_EQ(alerts.shown.back().informativeText,
              "it is damaged\n\nThe copy IS in Applications; open it from there when you're "
              "ready.");
    EXPECT_THAT(alerts.shown.back().buttons, IsEmpty());
}

TEST_F(SelfInstallTest, hasWordsForARelaunchThatFailedWithoutAReason) {
    ASSERT_TRUE(move());
    workspace.openCompletion({.launched = false});
    scheduler.runReady();
    EXPECT_THAT(alerts.shown.back().informativeText, StartsWith("Unknown error\n\nThe copy IS"));
}

} // namespace
