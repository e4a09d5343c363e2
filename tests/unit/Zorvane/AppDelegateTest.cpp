#include "mac/Zorvane/AppDelegate.h"

#include "mac/Zorvane/CommandLine.h"
#include "mac/Zorvane/QuitReason.h"
#include "tests/unit/Zorvane/FakeShell.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace zorvane {
namespace {

using namespace std::chrono_literals;
using platform::ActivationPolicy;
using platform::SystemEvent;
using testing::ElementsAre;
using testing::IsEmpty;

class AppDelegateTest : public testing::Test, public FakeShell {
  protected:
    bool moving = false;
    std::function<bool()> isBusy;

    struct Updater final : UpdateChecker {
        void checkForUpdates() override {}
    };

    void SetUp() override {
        launcher.onLaunch = [this] { events.emplace_back("server launched"); };
        serveHealth();
        steps.moveToApplicationsIfNeeded = [this](std::string_view name, std::string_view key,
                                                  const platform::Environment& environment) {
            events.push_back("move " + std::string(name) + " " + std::string(key) + " " +
                             environment.at("HOME"));
            return moving;
        };
        steps.makeUpdater = [this](std::function<bool()> busy) {
            events.emplace_back("updater");
            isBusy = std::move(busy);
            return std::make_unique<Updater>();
        };
        steps.enrollAtLoginOnceByDefault = [this](std::string_view key) {
            events.push_back("enroll " + std::string(key));
        };
    }
};

TEST_F(AppDelegateTest, launchesInOneExactOrder) {
    statusBar.events = &events;
    notifications.events = &events;
    launch();
    EXPECT_THAT(events,
                ElementsAre("move Zorvane OSTRA_DEV_NO_MOVE /home/ann", "updater",
                            "enroll OstraLoginItemDefaultApplied", "policy regular", "main menu",
                            "status item", "observe SUUpdaterWillRestartNotification",
                            "observe SPUUpdaterWillRelaunchApplicationNotification", "take over",
                            "server launched", "window made", "window autosave OstraMainWindow",
                            "window center", "load html", "policy regular", "window front",
                            "activate"));
}

TEST_F(AppDelegateTest, startsNothingWhileItIsBeingMoved) {
    moving = true;
    launch();
    EXPECT_THAT(events, ElementsAre("move Zorvane OSTRA_DEV_NO_MOVE /home/ann"));
    EXPECT_EQ(launcher.launches(), 0U);
    EXPECT_TRUE(notifications.handlers.empty());
    EXPECT_TRUE(delegate->applicationShouldHandleReopen(false));
    EXPECT_EQ(windows.made, 0);
}

TEST_F(AppDelegateTest, startsNoServerBesideTheOneOfAnInstanceThatStays) {
    application.takesOver = false;
    launch();
    EXPECT_EQ(events.back(), "take over");
    EXPECT_EQ(launcher.launches(), 0U);
    EXPECT_EQ(windows.made, 0);
}

TEST_F(AppDelegateTest, launchesWithoutTheOptionalSteps) {
    steps = {};
    launch();
    EXPECT_EQ(launcher.launches(), 1U);
    EXPECT_EQ(windows.made, 1);
}

TEST_F(AppDelegateTest, neverTellsTheUpdaterThatItIsBusy) {
    launch();
    EXPECT_FALSE(isBusy());
}

TEST_F(AppDelegateTest, showsTheServersPageOnceItRuns) {
    launch();
    EXPECT_EQ(windows.window->html, MainWindowController::startingPage);
    events.clear();
    scheduler.runReady();
    EXPECT_THAT(events, ElementsAre("load http://127.0.0.1:50001/ within 60 s"));
}

TEST_F(AppDelegateTest, replacesThePageWhenTheServerComesBackOnAnotherPort) {
    launchQuietly();
    ports.taken = {50001};
    delegate->supervisor().restart();
    scheduler.advance(1s);
    windows.window->onDidFinishNavigation("");
    EXPECT_THAT(events, ElementsAre("server launched", "load html",
                                    "load http://127.0.0.1:50002/ within 60 s"));
}

TEST_F(AppDelegateTest, keepsTheLastPageWhenTheServerStops) {
    launchQuietly();
    delegate->supervisor().stop();
    scheduler.advance(1s);
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(AppDelegateTest, hidesInsteadOfQuittingOnAPersonsQuit) {
    launchQuietly();
    application.terminate();
    EXPECT_FALSE(application.terminated);
    EXPECT_THAT(events, ElementsAre("window out", "policy accessory"));
    EXPECT_EQ(launcher.running(), 1) << "the server keeps running";
}

TEST_F(AppDelegateTest, quitsForTheSystemAndStopsTheServerOnTheWayOut) {
    launchQuietly();
    application.event = SystemEvent{fourCC("aevt"), fourCC("quit"), fourCC("shut")};
    application.terminate();
    EXPECT_TRUE(application.terminated);
    EXPECT_EQ(launcher.running(), 0);
    EXPECT_THAT(events, IsEmpty()) << "nothing is hidden first";
}

TEST_F(AppDelegateTest, quitsFromTheMenuWhileTheWindowIsVisible) {
    launchQuietly();
    delegate->quitApp();
    EXPECT_TRUE(application.terminated);
    EXPECT_EQ(launcher.running(), 0);
}

TEST_F(AppDelegateTest, quitsForAnUpdatersRelaunch) {
    for (const char* name :
         {"SUUpdaterWillRestartNotification", "SPUUpdaterWillRelaunchApplicationNotification"}) {
        SCOPED_TRACE(name);
        notifications.handlers.clear();
        application.terminated = false;
        launch();
        application.terminate();
        EXPECT_FALSE(application.terminated);
        notifications.post(name);
        application.terminate();
        EXPECT_TRUE(application.terminated);
    }
}

TEST_F(AppDelegateTest, closesToTheBackgroundAndComesBack) {
    launchQuietly();
    windows.window->close();
    EXPECT_EQ(application.policy, ActivationPolicy::accessory);
    EXPECT_FALSE(delegate->applicationShouldTerminateAfterLastWindowClosed());
    EXPECT_TRUE(delegate->applicationShouldHandleReopen(false));
    EXPECT_EQ(application.policy, ActivationPolicy::regular);
    EXPECT_TRUE(windows.window->isVisible());
}

TEST_F(AppDelegateTest, leavesVisibleWindowsAloneOnReopen) {
    launchQuietly();
    EXPECT_TRUE(delegate->applicationShouldHandleReopen(true));
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(AppDelegateTest, doesNothingOnceItIsGone) {
    launch();
    const std::weak_ptr<AppDelegate> weak = delegate;
    delegate.reset();
    EXPECT_TRUE(weak.expired()) << "nothing that lives longer holds the delegate";
    notifications.post("SUUpdaterWillRestartNotification");
    scheduler.advance(1h);
    EXPECT_EQ(launcher.running(), 0);
}

TEST(FourCC, foldsBytesFromTheFirstToTheLast) {
    EXPECT_EQ(fourCC(""), 0U);
    EXPECT_EQ(fourCC("a"), 0x61U);
    EXPECT_EQ(fourCC("aevt"), 0x61657674U);
    EXPECT_EQ(fourCC("why?"), 0x7768793FU);
    EXPECT_EQ(fourCC("\xFF\xFF\xFF\xFF"), 0xFFFFFFFFU);
    EXPECT_EQ(fourCC("xaevt"), 0x61657674U) << "only the last four bytes fit";
}

TEST(QuitReason, isTheSystemsForItsSixReasonsOnly) {
    for (const char* why : {"logo", "rlgo", "shut", "rsdn", "rest", "rrst"}) {
        EXPECT_TRUE(quitReasonIsSystem(SystemEvent{fourCC("aevt"), fourCC("quit"), fourCC(why)}))
            << why;
    }
    EXPECT_FALSE(quitReasonIsSystem(std::nullopt));
    EXPECT_FALSE(quitReasonIsSystem(SystemEvent{fourCC("aevt"), fourCC("quit"), std::nullopt}));
    EXPECT_FALSE(quitReasonIsSystem(SystemEvent{fourCC("aevt"), fourCC("quit"), fourCC("dock")}));
    EXPECT_FALSE(quitReasonIsSystem(SystemEvent{fourCC("aevt"), fourCC("quit"), 0}));
    EXPECT_FALSE(quitReasonIsSystem(SystemEvent{fourCC("aevt"), fourCC("oapp"), fourCC("logo")}));
    EXPECT_FALSE(quitReasonIsSystem(SystemEvent{fourCC("core"), fourCC("quit"), fourCC("logo")}));
}

std::optional<CommandLineAnswer> answer(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "Zorvane");
    return answerCommandLine(static_cast<int>(arguments.size()), arguments.data(), "1.4.0");
}

TEST(CommandLine, startsTheApplicationWithoutArguments) {
    EXPECT_FALSE(answer({}));
}

TEST(CommandLine, printsItsVersionAndHelp) {
    const auto version = answer({"--version"});
    ASSERT_TRUE(version);
    EXPECT_EQ(version->output, "Zorvane 1.4.0\n");
    EXPECT_EQ(version->exitStatus, 0);
    const auto help = answer({"--help"});
    ASSERT_TRUE(help);
    EXPECT_THAT(help->output, testing::HasSubstr("OSTRA_SIDECAR"));
    EXPECT_EQ(help->exitStatus, 0);
}

TEST(CommandLine, rejectsWhatItDoesNotKnow) {
    for (const char* argument : {"--verison", "-x", "file.txt"}) {
        const auto wrong = answer({argument});
        ASSERT_TRUE(wrong) << argument;
        EXPECT_EQ(wrong->exitStatus, 2);
        EXPECT_EQ(wrong->output, "");
        EXPECT_THAT(wrong->error, testing::HasSubstr(argument));
    }
}

TEST(CommandLine, takesAServerToExamineAsOptionAndAsCommand) {
    for (const auto& arguments : std::vector<std::vector<const char*>>{
             {"--check-server", "/opt/server"}, {"check-server", "/opt/server"}}) {
        auto check = answer(arguments);
        ASSERT_TRUE(check && check->checkServer);
        EXPECT_EQ(check->checkServer->executable, "/opt/server");
        EXPECT_FALSE(check->checkServer->asJson);
        auto withJson = arguments;
        withJson.push_back("--json");
        check = answer(withJson);
        ASSERT_TRUE(check && check->checkServer) << check->error;
        EXPECT_TRUE(check->checkServer->asJson);
    }
}

TEST(CommandLine, rejectsAnExaminationOfNothing) {
    for (const auto& arguments :
         std::vector<std::vector<const char*>>{{"--check-server"},
                                               {"check-server"},
                                               {"--json"},
                                               {"check-server", "a", "b"},
                                               {"--check-server", "a", "check-server", "b"}}) {
        const auto wrong = answer(arguments);
        ASSERT_TRUE(wrong);
        EXPECT_FALSE(wrong->checkServer);
        EXPECT_EQ(wrong->exitStatus, 2);
        EXPECT_NE(wrong->error, "");
    }
}

TEST(CommandLine, ignoresWhatTheSystemPasses) {
    EXPECT_FALSE(answer({"-psn_0_12345"}));
    EXPECT_FALSE(answer({"-NSDocumentRevisionsDebugMode", "YES"}));
    EXPECT_FALSE(answer({"-AppleLanguages", "(de)"}));
}

} // namespace
} // namespace zorvane
