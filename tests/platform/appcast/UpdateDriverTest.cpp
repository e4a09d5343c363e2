// The course of an update on manual time and scripted HTTP, with real files and signatures.
#include "platform/appcast/AppcastFramework.h"
#include "platform/appcast/CheckSchedule.h"
#include "platform/appcast/ThisSystem.h"
#include "platform/appcast/VersionOrder.h"
#include "platform/posix/WatchedCommand.h"
#include "platform/testing/FakeDesktopServices.h"
#include "platform/testing/InMemorySystem.h"
#include "platform/testing/ManualScheduler.h"
#include "platform/testing/ScriptedHttpClient.h"
#include "tests/platform/appcast/FakeUpdateUi.h"
#include "tests/platform/appcast/RunningBundle.h"
#include "tests/platform/services/Fixtures.h"
#include "tests/support/temporary/TemporaryFolder.h"
#include "tests/support/updates/SigningKey.h"
#include "tests/support/updates/TestBundle.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

namespace platform::appcast {
namespace {

using namespace std::chrono_literals;
using platform::testing::ScriptedHttpClient;
using test_support::TestBundle;
using test_support::TestItem;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::DoubleNear;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;
using ::testing::SizeIs;

constexpr const char* feedUrl = "https://updates.example/appcast.xml";
constexpr const char* archiveUrl = "https://updates.example/Example.tar.gz";

class Updates : public ::testing::Test {
  protected:
    Updates() {
        TestBundle old;
        old.info = {{"SUFeedURL", feedUrl}, {"SUPublicEDKey", key.publicKeyText()}};
        installed = old.write(root.path());
        http.script = [this](const HttpRequest& request) { return answer(request); };
        notifications.observe("SPUUpdaterWillRelaunchApplicationNotification", [this] {
            events.emplace_back("will relaunch");
            running.mayQuit = true;
        });
        application.run(running);
    }

    // Quits only for an update, as the product does.
    struct RunningApplication final : ApplicationDelegate {
        explicit RunningApplication(platform::testing::Events& list)
            : events(list) {}

        void applicationDidFinishLaunching() override {}
        TerminateReply applicationShouldTerminate() override {
            return mayQuit ? TerminateReply::now : TerminateReply::cancel;
        }
        void applicationWillTerminate() override { events.emplace_back("will terminate"); }
        bool applicationShouldHandleReopen(bool /*hasVisibleWindows*/) override { return true; }
        bool applicationShouldTerminateAfterLastWindowClosed() override { return false; }

        platform::testing::Events& events;
        bool mayQuit = false;
    };

    std::optional<ScriptedHttpClient::Answer> answer(const HttpRequest& request) {
        if (request.url == archiveUrl) {
            return ScriptedHttpClient::Answer{.result = HttpResponse{archiveStatus, {}, archive},
                                              .after = pieces == 1 ? 10ms : 200ms,
                                              .pieces = pieces};
        }
        EXPECT_EQ(request.url, feedUrl);
        if (feedError) {
            return ScriptedHttpClient::Answer{std::unexpected(*feedError), 10ms};
        }
        return ScriptedHttpClient::Answer{HttpResponse{feedStatus, {}, feed}, 10ms};
    }

    TestBundle bundleOf(const std::string& version) const {
        return {.version = version, .displayVersion = version + ".0", .program = newProgram};
    }
    void offer(const std::string& version) {
        TestBundle next = bundleOf(version);
        archive = next.archive();
        TestItem item;
        item.version = version;
        item.displayVersion = version + ".0";
        item.url = archiveUrl;
        item.length = std::to_string(archive.size());
        item.signature = key.signatureText(archive);
        item.inItem = "<sparkle:releaseNotesLink>https://updates.example/notes</"
                      "sparkle:releaseNotesLink>" +
                      furtherElements;
        feed = test_support::appcast({item});
    }

    UpdateController& start() {
        controller = framework().makeStandardController(delegate);
        return *controller;
    }
    AppcastFramework framework() {
        return {facilities(),
                bundle ? *bundle : bundle.emplace(installed),
                {.system = {.names = {"linux"}, .version = "6.1"},
                 .readInfo = [this](const std::filesystem::path& folder) {
                     if (whenExamined && folder != installed) {
                         whenExamined();
                     }
                     return test_support::readTestInfo(folder);
                 }}};
    }
    UpdateFacilities facilities() {
        return {.http = http,
                .mainQueue = scheduler.mainQueue(),
                .backgroundQueues = scheduler.backgroundQueues(),
                .clock = scheduler.clock(),
                .defaults = defaults,
                .notifications = notifications,
                .application = application,
                .workspace = workspace,
                .runProgram = [this](auto&& command) { return runProgram(command); },
                .startSuccessor =
                    [this](const auto& program, const auto patience, const auto& isCancelled) {
                        return succeed(program, patience, isCancelled);
                    },
                .ui = ui,
                .notice = notice,
                .log = log};
    }
    // The test is told before and after; with less patience where it has less.
    std::expected<posix::WatchedEnd, LaunchError> runProgram(posix::WatchedCommand command) {
        if (whenAsked) {
            whenAsked();
        }
        answerPatience = command.timeout;
        command.timeout = std::min(command.timeout, testsPatience);
        command.environment = currentEnvironment();
        auto end = posix::runWatched(command);
        if (end && whenAnswered) {
            whenAnswered(end->reason);
        }
        return end;
    }
    std::expected<void, std::string> succeed(const std::filesystem::path& program,
                                             std::chrono::milliseconds patience,
                                             const std::function<bool()>& isCancelled) {
        events.push_back("start " + program.string());
        successorPatience = patience;
        EXPECT_EQ(installedVersion(), "2") << "the new one is started in its place";
        EXPECT_THAT(events, Not(Contains("will terminate")));
        if (whenStarted) {
            whenStarted();
        }
        if (isCancelled()) {
            return std::unexpected("it was cancelled");
        }
        if (successorFailure.empty()) {
            return {};
        }
        return std::unexpected(successorFailure);
    }
    // Far enough for a request and what follows from it.
    void settle() { scheduler.advance(1s); }
    void askAndSettle() {
        start().checkForUpdates();
        settle();
    }
    std::string shownText() const {
        return ui.shown ? ui.shown->title + ": " + ui.shown->text : "";
    }
    std::string installedVersion() const {
        return test_support::readTestInfo(installed).at("CFBundleVersion").value();
    }
    void expectUntouched() const {
        EXPECT_EQ(installedVersion(), "1");
        EXPECT_THAT(namesIn(root.path()), ElementsAre("Example.app"));
    }
    std::size_t feedRequests() const {
        return static_cast<std::size_t>(
            std::ranges::count(http.requests, feedUrl, &HttpRequest::url));
    }

    test_support::TemporaryFolder root;
    test_support::SigningKey key;
    std::filesystem::path installed;
    std::optional<RunningBundle> bundle;
    std::string feed = test_support::appcast({});
    int feedStatus = 200;
    std::optional<HttpError> feedError;
    std::string archive;
    int archiveStatus = 200;
    std::string newProgram;      // empty: one that knows its version
    std::string furtherElements; // of the item
    std::string successorFailure;
    std::chrono::milliseconds successorPatience{0}; // that it was allowed, the last time
    std::function<void()> whenStarted;
    std::chrono::milliseconds answerPatience{0}; // that the new program was allowed, the last time
    std::chrono::milliseconds testsPatience = std::chrono::hours(1);
    std::function<void()> whenAsked; // the new program for its version
    std::function<void(posix::WatchedEnd::Reason)> whenAnswered;
    std::size_t pieces = 1;             // that the archive arrives in, 200 ms apart
    std::function<void()> whenExamined; // while the unpacked bundle is looked at

    platform::testing::ManualScheduler scheduler;
    ScriptedHttpClient http{scheduler};
    platform::testing::Events events;
    platform::testing::InMemoryDefaults defaults;
    platform::testing::FakeNotificationCenter notifications;
    platform::testing::FakeApplication application{events};
    RunningApplication running{events};
    platform::testing::FakeWorkspace workspace{events};
    platform::testing::RecordingLog log;
    FakeUpdateUi ui;
    FakeUpdateNotice notice;
    RecordingDelegate delegate;
    std::unique_ptr<UpdateController> controller;
};

TEST_F(Updates, showTheUserThatTheyAreBeingCheckedAndThatThereAreNone) {
    start().checkForUpdates();
    EXPECT_EQ(ui.shown->title, "Checking for updates…");
    settle();
    EXPECT_EQ(shownText(), "Example is up to date: Version 1.0 is the newest one.");
    ui.press("OK");
    EXPECT_FALSE(ui.shown);
}

TEST_F(Updates, askTheFeedOverHttpsOnlyWithBounds) {
    askAndSettle();
    ASSERT_EQ(http.requests.size(), 1U);
    EXPECT_TRUE(http.requests[0].onlyHttps);
    EXPECT_EQ(http.requests[0].maxBodyBytes, largestFeed);
    EXPECT_LE(http.requests[0].timeout, 1min);
}

TEST_F(Updates, areOfferedWithBothVersionsAndTheReleaseNotes) {
    offer("2");
    askAndSettle();
    ASSERT_TRUE(ui.shown);
    EXPECT_EQ(ui.shown->title, "Example 2.0 is available");
    EXPECT_THAT(ui.shown->text, HasSubstr("You have version 1.0"));
    EXPECT_EQ(ui.shown->link,
              (UpdatePanel::Link{"Release notes", "https://updates.example/notes"}));
    EXPECT_THAT(ui.shown->buttons,
                ElementsAre("Install and Relaunch", "Later", "Skip This Version"));
    EXPECT_EQ(ui.shown->buttons[ui.shown->defaultButton], "Later") << "Return installs nothing";
    EXPECT_EQ(http.requests.size(), 1U) << "nothing is downloaded before the user says so";
}

TEST_F(Updates, areInstalledAndTheOldVersionEndsOnceTheNewOneHasTakenOver) {
    offer("2");
    askAndSettle();
    ui.press("Install and Relaunch");
    EXPECT_EQ(ui.shown->title, "Downloading Example 2.0");
    settle();
    EXPECT_EQ(installedVersion(), "2");
    EXPECT_THAT(ui.history, Contains("Installing Example 2.0"));
    EXPECT_THAT(events, ElementsAre("start " + (installed / "Contents/MacOS/Example").string(),
                                    "will relaunch", "will terminate"));
    EXPECT_FALSE(ui.shown);
    removeLeftovers(installed);
    EXPECT_THAT(namesIn(root.path()), SizeIs(2)) << "the old one still runs from its bundle";
}

TEST_F(Updates, showHowFarTheDownloadIs) {
    offer("2");
    archive.resize(1'500'000);
    feed.replace(feed.find("length=\""), 8, "length=\"1500000\" x=\"");
    pieces = 3;
    askAndSettle();
    ui.press("Install and Relaunch");
    settle();
    EXPECT_THAT(ui.progress, ElementsAre(Pair("0.5 MB of 1.5 MB", DoubleNear(1.0 / 3, 0.01)),
                                         Pair("1.0 MB of 1.5 MB", DoubleNear(2.0 / 3, 0.01))));
    const auto& download = http.requests.back();
    EXPECT_EQ(download.url, archiveUrl);
    EXPECT_TRUE(download.onlyHttps);
    EXPECT_EQ(download.maxBodyBytes, archive.size());
    EXPECT_GT(download.stallTimeout, 0s);
}

TEST_F(Updates, areTakenBackWhenTheNewVersionDoesNotTakeOver) {
    successorFailure = "it ended with status 127";
    offer("2");
    askAndSettle();
    ui.press("Install and Relaunch");
    settle();
    EXPECT_EQ(shownText(),
              "Example 2.0 was not installed: Version 1.0 stays as it was, because the "
              "new version does not start: it ended with status 127.");
    EXPECT_FALSE(application.terminated);
    EXPECT_THAT(events, ElementsAre(HasSubstr("start ")));
    expectUntouched();
}

TEST_F(Updates, haveTwentySecondsToTakeOver) {
    offer("2");
    askAndSettle();
    ui.press("Install and Relaunch");
    settle();
    EXPECT_EQ(successorPatience, 20s);
}

TEST_F(Updates, areNotInstalledUnlessTheNewProgramKnowsItsVersion) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"#!/bin/sh\nexit 127\n", "it ends with status 127"},
        {"#!/bin/sh\nkill -SEGV $$\n", "it is ended by signal 11"},
        {"#!/bin/sh\necho Example 1.0\n", "it says that it is another version"},
        {"#!/bin/sh\n", "it says that it is another version"},
        {"#!/bin/sh\nprintf '%4096s and more' 2.0\n", "it says that it is another version"},
        {"#!/no/such/interpreter\n", "No such file"},
    };
    for (const auto& [program, reason] : cases) {
        newProgram = program;
        offer("2");
        askAndSettle();
        ui.press("Install and Relaunch");
        settle();
        EXPECT_THAT(shownText(), AllOf(HasSubstr("the new version does not start: "),
                                       HasSubstr(reason), HasSubstr("1.0 stays as it was, ")));
        expectUntouched();
        EXPECT_THAT(events, IsEmpty()) << "it is not started beside the old one";
        controller.reset();
    }
}

TEST_F(Updates, areNotInstalledWhenTheNewProgramDoesNotAnswerWithinTenSeconds) {
    newProgram = "#!/bin/sh\nexec sleep 600\n";
    testsPatience = 50ms;
    offer("2");
    askAndSettle();
    ui.press("Install and Relaunch");
    settle();
    EXPECT_EQ(answerPatience, 10s);
    EXPECT_THAT(shownText(), HasSubstr("the new version does not start: it does not answer"));
    expectUntouched();
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(Updates, areNotEvenAskedForTheirVersionOnceTheirControllerHasGone) {
    bool isAsked = false;
    whenAsked = [&] { isAsked = true; };
    offer("2");
    askAndSettle();
    ui.press("Install and Relaunch");
    whenExamined = [this] { controller.reset(); };
    settle();
    EXPECT_FALSE(controller);
    EXPECT_FALSE(isAsked);
    expectUntouched();
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(Updates, areNotInstalledWhenTheirControllerGoesAfterTheNewProgramHasAnswered) {
    offer("2");
    askAndSettle();
    ui.press("Install and Relaunch");
    whenAnswered = [this](auto /*reason*/) { controller.reset(); };
    settle();
    EXPECT_FALSE(controller);
    expectUntouched();
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(Updates, doNotWaitForTheAnswerOfTheNewProgramOnceTheirControllerHasGone) {
    newProgram = "#!/bin/sh\nexec sleep 600\n";
    offer("2");
    askAndSettle();
    ui.press("Install and Relaunch");
    whenAsked = [this] { controller.reset(); };
    std::vector<posix::WatchedEnd::Reason> reasons;
    whenAnswered = [&](auto reason) { reasons.push_back(reason); };
    settle();
    EXPECT_THAT(reasons, ElementsAre(posix::WatchedEnd::Reason::interrupted));
    expectUntouched();
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(Updates, areTakenBackWhenTheirControllerGoesWhileTheNewVersionStarts) {
    offer("2");
    askAndSettle();
    ui.press("Install and Relaunch");
    whenStarted = [this] { controller.reset(); };
    settle();
    EXPECT_FALSE(controller);
    EXPECT_EQ(installedVersion(), "1");
    EXPECT_THAT(events, ElementsAre(HasSubstr("start ")));
}

TEST_F(Updates, sayThatTheOldVersionIsNotBackWhenItCannotBePutBack) {
    successorFailure = "it ended with status 1";
    offer("2");
    askAndSettle();
    ui.press("Install and Relaunch");
    whenStarted = [this] { std::filesystem::rename(installed, root / "moved away"); };
    settle();
    EXPECT_THAT(shownText(), AllOf(HasSubstr("the old one cannot be put back"),
                                   Not(HasSubstr("stays as it was"))));
    std::filesystem::rename(root / "moved away", installed);
    EXPECT_THAT(namesIn(root.path()), SizeIs(2)) << "the old bundle is kept";
}

TEST_F(Updates, doNothingMoreWhenTheUserSaysLater) {
    offer("2");
    askAndSettle();
    ui.press("Later");
    settle();
    expectUntouched();
    EXPECT_EQ(http.requests.size(), 1U);
    controller->checkForUpdates();
    settle();
    EXPECT_EQ(ui.shown->title, "Example 2.0 is available");
}

TEST_F(Updates, countAClosedWindowAsLater) {
    offer("2");
    askAndSettle();
    ui.dismiss();
    settle();
    EXPECT_EQ(http.requests.size(), 1U);
    controller->checkForUpdatesInBackground();
    settle();
    EXPECT_TRUE(notice.shown);
}

TEST_F(Updates, areNotOfferedUnaskedOnceSkipped) {
    offer("2");
    askAndSettle();
    ui.press("Skip This Version");
    controller->checkForUpdatesInBackground();
    settle();
    EXPECT_FALSE(notice.shown);
    EXPECT_THAT(delegate.asked, IsEmpty());

    controller.reset(); // remembered by the next process too
    start().checkForUpdatesInBackground();
    settle();
    EXPECT_FALSE(notice.shown);

    offer("3");
    controller->checkForUpdatesInBackground();
    settle();
    EXPECT_EQ(notice.shown.value().title, "Example 3.0 is available");
}

TEST_F(Updates, thatAreCriticalCannotBeSkipped) {
    furtherElements = "<sparkle:criticalUpdate/>";
    offer("2");
    askAndSettle();
    EXPECT_THAT(ui.shown->buttons, ElementsAre("Install and Relaunch", "Later"));
    EXPECT_THAT(ui.shown->text, HasSubstr("important"));
    ui.press("Later");
    defaults.setBoolean("updates.skipped.2", true); // before it became critical
    controller->checkForUpdatesInBackground();
    settle();
    EXPECT_TRUE(notice.shown && notice.shown->isCritical);
}

TEST_F(Updates, thatAreInformationalLeadToTheirPage) {
    furtherElements = "<sparkle:informationalUpdate/><link>https://updates.example/how</link>";
    offer("2");
    askAndSettle();
    EXPECT_THAT(ui.shown->buttons, ElementsAre("Learn More…", "Later", "Skip This Version"));
    ui.press("Learn More…");
    settle();
    EXPECT_THAT(workspace.opened, ElementsAre("https://updates.example/how"));
    EXPECT_EQ(http.requests.size(), 1U) << "nothing is downloaded";
    expectUntouched();
}

TEST_F(Updates, reachEachUserAtTheTimeOfItsGroup) {
    const auto hourly = [this](std::chrono::seconds ago) {
        furtherElements =
            fmt::format("<sparkle:phasedRolloutInterval>3600</sparkle:phasedRolloutInterval>"
                        "<pubDate>{:%a, %d %b %Y %H:%M:%S} +0000</pubDate>",
                        fmt::gmtime(secondsSince1970(scheduler.clock().wallNow() - ago)));
        offer("2");
    };
    hourly(1h);
    defaults.setInteger("updates.rolloutGroup", 4); // the fourth, from 0 hours on
    start().checkForUpdatesInBackground();
    settle();
    EXPECT_FALSE(notice.shown);
    hourly(3h);
    controller->checkForUpdatesInBackground();
    settle();
    EXPECT_TRUE(notice.shown);

    hourly(0h);
    controller->checkForUpdates();
    settle();
    EXPECT_EQ(ui.shown->title, "Example 2.0 is available") << "who asks does not wait";
}

TEST_F(Updates, drawTheUsersGroupOnce) {
    start().checkForUpdatesInBackground();
    settle();
    const auto drawn = defaults.integer("updates.rolloutGroup");
    EXPECT_GE(drawn, 1);
    EXPECT_LE(drawn, rolloutGroups);
    controller.reset();
    start().checkForUpdatesInBackground();
    settle();
    EXPECT_EQ(defaults.integer("updates.rolloutGroup"), drawn);
}

TEST_F(Updates, areOfferedAgainToAUserWhoAsksAfterSkipping) {
    offer("2");
    askAndSettle();
    ui.press("Skip This Version");
    controller->checkForUpdates();
    settle();
    EXPECT_EQ(ui.shown->title, "Example 2.0 is available");
}

TEST_F(Updates, tellTheUserWhatWentWrong) {
    const std::vector<std::pair<HttpError::Kind, std::string>> cases = {
        {HttpError::Kind::cannotConnect, "The update server cannot be reached."},
        {HttpError::Kind::timedOut, "The update server does not answer."},
        {HttpError::Kind::bodyTooLarge, "The update server sends more than it may."},
        {HttpError::Kind::protocol, "The update server gives no usable answer."},
    };
    start();
    for (const auto& [kind, text] : cases) {
        feedError = HttpError{kind, "details for the log"};
        controller->checkForUpdates();
        settle();
        EXPECT_EQ(shownText(), "Updates cannot be checked now: " + text);
        ui.press("OK");
    }
    EXPECT_THAT(log.lines, Contains(HasSubstr("details for the log")));
    feedError.reset();
    feedStatus = 404;
    controller->checkForUpdates();
    settle();
    EXPECT_THAT(shownText(), HasSubstr("The update server answers with status 404."));
    ui.press("OK");
    feedStatus = 200;
    feed = "no XML";
    controller->checkForUpdates();
    settle();
    EXPECT_THAT(shownText(), HasSubstr("The list of updates cannot be used"));
}

TEST_F(Updates, staySilentAboutTheFailureOfACheckThatNobodyAskedFor) {
    feedError = HttpError{HttpError::Kind::cannotConnect, "refused"};
    start().checkForUpdatesInBackground();
    settle();
    feedError.reset();
    controller->checkForUpdatesInBackground();
    settle();
    EXPECT_THAT(ui.history, IsEmpty());
    EXPECT_EQ(http.requests.size(), 2U);
}

TEST_F(Updates, forgetACheckThatTheUserCancels) {
    offer("2");
    start().checkForUpdates();
    ui.press("Cancel");
    settle();
    EXPECT_FALSE(ui.shown);
    controller->checkForUpdates();
    settle();
    EXPECT_EQ(ui.shown->title, "Example 2.0 is available");
}

TEST_F(Updates, showACheckThatRunsAlreadyToTheUserWhoAsks) {
    start().checkForUpdatesInBackground();
    EXPECT_FALSE(ui.shown);
    controller->checkForUpdates();
    EXPECT_EQ(ui.shown->title, "Checking for updates…");
    controller->checkForUpdates();
    EXPECT_EQ(ui.broughtToFront, 1);
    settle();
    EXPECT_EQ(ui.shown->title, "Example is up to date");
    EXPECT_EQ(http.requests.size(), 1U);
}

TEST_F(Updates, leaveNothingOfADownloadThatTheUserCancels) {
    offer("2");
    askAndSettle();
    ui.press("Install and Relaunch");
    ui.press("Cancel");
    settle();
    expectUntouched();
    EXPECT_FALSE(ui.shown);
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(Updates, refuseADownloadThatIsNotWhatWasAnnounced) {
    offer("2");
    const std::string genuine = archive;
    start();
    const auto tryWith = [&](const std::string& downloaded, int status) {
        archive = downloaded;
        archiveStatus = status;
        controller->checkForUpdates();
        settle();
        ui.press("Install and Relaunch");
        settle();
        expectUntouched();
        auto text = ui.shown->text;
        ui.press("OK");
        return text;
    };
    EXPECT_THAT(tryWith(genuine.substr(0, genuine.size() - 1), 200), HasSubstr("not complete"));
    EXPECT_THAT(tryWith("", 200), HasSubstr("not complete"));
    EXPECT_THAT(tryWith(genuine, 503), HasSubstr("status 503"));
    std::string tampered = genuine;
    tampered[100] = static_cast<char>(tampered[100] ^ 1);
    EXPECT_THAT(tryWith(tampered, 200), HasSubstr("not signed"));
    EXPECT_FALSE(application.terminated);
}

TEST_F(Updates, neverOfferADowngradeOrTheSameVersion) {
    for (const char* version : {"1", "0.9", "0", "-1", "1.9-rc1", "next"}) {
        offer(version);
        askAndSettle();
        EXPECT_EQ(ui.shown->title, "Example is up to date") << version;
        controller.reset();
    }
}

TEST_F(Updates, leaveACopyThatCannotBeReplacedToOthersAndSaySo) {
    TestBundle old;
    old.info = {{"SUFeedURL", feedUrl}, {"SUPublicEDKey", key.publicKeyText()}};
    offer("2");
    bundle.emplace("/proc/self"); // nobody can write there
    UpdateProduct product{.name = "Example",
                          .identifier = "test.example",
                          .version = "1",
                          .displayVersion = "1.0",
                          .bundle = "/usr/lib/example/Example.app",
                          .program = {},
                          .feedUrl = feedUrl,
                          .key = key.publicKey(),
                          .system = {.names = {"linux"}, .version = "6"},
                          .readInfo = &test_support::readTestInfo};
    const auto packaged = UpdateDriver::start(facilities(), product, delegate);
    packaged->checkInBackground();
    settle();
    EXPECT_FALSE(ui.shown || notice.shown);
    packaged->checkForUpdates();
    settle();
    EXPECT_THAT(shownText(), HasSubstr("package manager"));
    EXPECT_THAT(ui.shown->buttons, ElementsAre("OK"));
    ui.press("OK");

    product.bundle = "/proc/self";
    const auto foreign = UpdateDriver::start(facilities(), product, delegate);
    foreign->checkForUpdates();
    settle();
    EXPECT_THAT(shownText(), HasSubstr("a folder that you cannot change"));
    packaged->stop();
    foreign->stop();
}

TEST_F(Updates, areAnnouncedUnaskedOnlyWhenTheDelegateAgrees) {
    offer("2");
    delegate.agrees = false;
    start().checkForUpdatesInBackground();
    settle();
    EXPECT_FALSE(notice.shown);
    EXPECT_THAT(delegate.told, ElementsAre(false));
    delegate.agrees = true;
    controller->checkForUpdatesInBackground();
    settle();
    EXPECT_TRUE(notice.shown);
    EXPECT_THAT(delegate.asked, ElementsAre(false, false)) << "never in immediate focus";
    EXPECT_THAT(delegate.told, ElementsAre(false, true));
}

TEST_F(Updates, nobodyAskedForDoNotComeToTheForeground) {
    offer("2");
    start().setAutomaticallyChecksForUpdates(true);
    scheduler.advance(1min);
    EXPECT_EQ(notice.shown, (UpdateNotification{.title = "Example 2.0 is available",
                                                .text = "You have version 1.0.",
                                                .action = "Show Update…"}));
    EXPECT_THAT(ui.history, IsEmpty());
    notice.open();
    EXPECT_THAT(ui.history, ElementsAre("Example 2.0 is available"));
    EXPECT_EQ(feedRequests(), 1U);
    ui.press("Install and Relaunch");
    settle();
    EXPECT_EQ(installedVersion(), "2");
}

TEST_F(Updates, areAnnouncedAgainAfterADayAndOnlyOnce) {
    offer("2");
    start().setAutomaticallyChecksForUpdates(true);
    scheduler.advance(23h);
    EXPECT_EQ(notice.shows, 1);
    scheduler.advance(2h);
    EXPECT_EQ(notice.shows, 2);
    EXPECT_THAT(ui.history, IsEmpty());
}

TEST_F(Updates, areNoLongerAnnouncedOnceTheUserAsks) {
    offer("2");
    start().checkForUpdatesInBackground();
    settle();
    ASSERT_TRUE(notice.shown);
    controller->checkForUpdates();
    settle();
    EXPECT_FALSE(notice.shown);
    EXPECT_EQ(ui.shown->title, "Example 2.0 is available");
}

TEST_F(Updates, areNoLongerAnnouncedOnceTheyAreWithdrawn) {
    offer("2");
    start().checkForUpdatesInBackground();
    settle();
    ASSERT_TRUE(notice.shown);
    feed = test_support::appcast({});
    controller->checkForUpdatesInBackground();
    settle();
    EXPECT_FALSE(notice.shown);
}

TEST_F(Updates, areNoLongerAnnouncedOnceTheirControllerHasGone) {
    offer("2");
    start().checkForUpdatesInBackground();
    settle();
    ASSERT_TRUE(notice.shown);
    controller.reset();
    EXPECT_FALSE(notice.shown);
}

TEST_F(Updates, comeAsAPanelToADelegateThatDoesNotRemindGently) {
    delegate.isGentle = false;
    offer("2");
    start().checkForUpdatesInBackground();
    settle();
    EXPECT_FALSE(notice.shown);
    EXPECT_EQ(ui.shown->title, "Example 2.0 is available");
    EXPECT_THAT(delegate.asked, ElementsAre(true));
}

TEST_F(Updates, doNotAskTheDelegateAboutWhatTheUserAskedFor) {
    offer("2");
    delegate.agrees = false;
    askAndSettle();
    EXPECT_TRUE(ui.shown);
    EXPECT_THAT(delegate.asked, IsEmpty());
    EXPECT_THAT(delegate.told, ElementsAre(true));
}

TEST_F(Updates, areCheckedSoonAfterTheFirstStartAndThenDaily) {
    start().setAutomaticallyChecksForUpdates(true);
    scheduler.advance(9s);
    EXPECT_EQ(feedRequests(), 0U);
    scheduler.advance(2s);
    EXPECT_EQ(feedRequests(), 1U);
    scheduler.advance(23h);
    EXPECT_EQ(feedRequests(), 1U);
    scheduler.advance(2h);
    EXPECT_EQ(feedRequests(), 2U);
    scheduler.advance(24h * 8);
    EXPECT_GE(feedRequests(), 9U);
    EXPECT_LE(feedRequests(), 10U);
}

TEST_F(Updates, rememberAcrossStartsWhenTheyWereCheckedLast) {
    start().setAutomaticallyChecksForUpdates(true);
    scheduler.advance(11s);
    for (int i = 0; i < 5; ++i) {
        controller.reset();
        start().setAutomaticallyChecksForUpdates(true);
        scheduler.advance(1h);
    }
    EXPECT_EQ(feedRequests(), 1U);
}

TEST_F(Updates, areCheckedWhenTheLastCheckLiesInTheFuture) {
    defaults.setInteger("updates.lastCheck",
                        secondsSince1970(scheduler.clock().wallNow() + 24h * 365));
    start().setAutomaticallyChecksForUpdates(true);
    scheduler.advance(1min);
    EXPECT_EQ(feedRequests(), 1U);
    scheduler.advance(3h);
    EXPECT_EQ(feedRequests(), 1U);
}

TEST_F(Updates, areCheckedAgainAnHourOrSoAfterAFailure) {
    feedError = HttpError{HttpError::Kind::cannotConnect, "refused"};
    start().setAutomaticallyChecksForUpdates(true);
    scheduler.advance(59min);
    EXPECT_EQ(feedRequests(), 1U);
    scheduler.advance(15min);
    EXPECT_EQ(feedRequests(), 2U);
    feedError.reset();
    scheduler.advance(2h);
    EXPECT_EQ(feedRequests(), 3U);
    scheduler.advance(20h);
    EXPECT_EQ(feedRequests(), 3U);
}

TEST_F(Updates, areNotCheckedByThemselvesUnlessSwitchedOn) {
    start();
    scheduler.advance(48h);
    EXPECT_EQ(feedRequests(), 0U);
    controller->setAutomaticallyChecksForUpdates(true);
    scheduler.advance(1min);
    controller->setAutomaticallyChecksForUpdates(false);
    scheduler.advance(72h);
    EXPECT_EQ(feedRequests(), 1U);
}

TEST_F(Updates, areLeftAloneWhileAnOfferWaitsForItsAnswer) {
    offer("2");
    start().setAutomaticallyChecksForUpdates(true);
    scheduler.advance(1min);
    notice.open();
    EXPECT_TRUE(ui.shown);
    scheduler.advance(72h);
    EXPECT_EQ(feedRequests(), 1U);
    controller->checkForUpdates();
    EXPECT_EQ(ui.broughtToFront, 1);
}

TEST_F(Updates, endSilentlyTogetherWithTheirController) {
    offer("2");
    askAndSettle();
    ui.press("Install and Relaunch");
    controller.reset();
    settle();
    scheduler.advance(1h);
    expectUntouched();
    EXPECT_FALSE(ui.shown);
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(Updates, clearAwayWhatAnEarlierProcessLeft) {
    std::filesystem::create_directories(root / ".Example.app.update-abc123/new/Example.app");
    start();
    settle();
    expectUntouched();
}

TEST_F(Updates, clearAwayWhatTheProcessBeforeThisOneHeldAtTheStart) {
    std::optional<Staging> held(*Staging::beside(installed));
    held->keep(true);
    start();
    settle();
    EXPECT_THAT(namesIn(root.path()), SizeIs(2));
    held.reset();
    scheduler.advance(1min);
    expectUntouched();
}

TEST(AppcastFrameworkConfiguration, isNeededForAController) {
    const test_support::TemporaryFolder root;
    const std::string goodKey = test_support::SigningKey().publicKeyText();
    const std::vector<std::map<std::string, std::string>> wrong = {
        {},
        {{"SUFeedURL", feedUrl}},
        {{"SUPublicEDKey", goodKey}},
        {{"SUFeedURL", "http://updates.example/"}, {"SUPublicEDKey", goodKey}},
        {{"SUFeedURL", feedUrl}, {"SUPublicEDKey", goodKey.substr(4)}}};
    platform::testing::ManualScheduler scheduler;
    ScriptedHttpClient http(scheduler);
    platform::testing::Events events;
    platform::testing::InMemoryDefaults defaults;
    platform::testing::FakeNotificationCenter notifications;
    platform::testing::FakeApplication application(events);
    platform::testing::FakeWorkspace workspace(events);
    platform::testing::RecordingLog log;
    FakeUpdateUi ui;
    FakeUpdateNotice notice;
    RecordingDelegate delegate;
    for (const auto& info : wrong) {
        TestBundle bundle;
        bundle.info = info;
        const RunningBundle running(bundle.write(root.path()));
        AppcastFramework framework({.http = http,
                                    .mainQueue = scheduler.mainQueue(),
                                    .backgroundQueues = scheduler.backgroundQueues(),
                                    .clock = scheduler.clock(),
                                    .defaults = defaults,
                                    .notifications = notifications,
                                    .application = application,
                                    .workspace = workspace,
                                    .runProgram = {},
                                    .startSuccessor = {},
                                    .ui = ui,
                                    .notice = notice,
                                    .log = log},
                                   running, {.system = {}, .readInfo = {}});
        EXPECT_EQ(framework.makeStandardController(delegate), nullptr);
    }
    EXPECT_EQ(log.lines.size(), wrong.size());
}

TEST(ThisSystem, isNamedAfterItsProcessorToo) {
    const auto system = thisSystem();
    ASSERT_EQ(system.names.size(), 2U);
    EXPECT_EQ(system.names[0], "linux");
    EXPECT_TRUE(system.names[1].starts_with("linux-"));
    EXPECT_TRUE(isNewerVersion(system.version, "2.6"));
}

TEST(ThisSystem, hasTheLeadingNumbersOfItsKernel) {
    EXPECT_EQ(kernelVersion("6.1.0-18-amd64"), "6.1.0");
    EXPECT_EQ(kernelVersion("6.8.0+bpo"), "6.8.0");
    EXPECT_EQ(kernelVersion("5.15"), "5.15");
    EXPECT_EQ(kernelVersion("6."), "6");
    for (const char* release : {"", "custom", ".5", "6..1", "..."}) {
        EXPECT_EQ(kernelVersion(release), "0") << release;
    }
}

} // namespace
} // namespace platform::appcast
