#include "mac/Zorvane/ServerSupervisor.h"

#include "tests/unit/Zorvane/FakeSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>
#include <vector>

namespace zorvane {
namespace {

using namespace std::chrono_literals;
using platform::ExitStatus;
using platform::HttpResult;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using State = ServerSupervisor::State;
using Stopped = ServerSupervisor::Stopped;
using Starting = ServerSupervisor::Starting;
using Running = ServerSupervisor::Running;
using Failed = ServerSupervisor::Failed;

const std::string portKey = "app.zorvane.sidecarPort";

class ServerSupervisorTest : public testing::Test, public FakeSystem {
  protected:
    std::vector<State> states;
    std::shared_ptr<ServerSupervisor> supervisor;

    void SetUp() override {
        makeSupervisor({{"PATH", "/bin"}, {"MEDIASERVER_HEALTH_NONCE", "inherited"}});
    }

    void makeSupervisor(platform::Environment environment) {
        supervisor = ServerSupervisor::create(supervisorFacilities(), std::move(environment));
        supervisor->onStateChange = [this](const State& state) {
            EXPECT_TRUE(scheduler.mainQueue().isMainThread());
            states.push_back(state);
        };
    }

    static HttpResult reply(int status, std::string body) {
        return platform::HttpResponse{status, {}, std::move(body)};
    }
    // So many turns of the main queue later, behind everything that is posted until then.
    void onMainQueueAfter(int turns, std::function<void()> action) {
        if (turns == 0) {
            action();
            return;
        }
        scheduler.mainQueue().post(
            [this, turns, action = std::move(action)] { onMainQueueAfter(turns - 1, action); });
    }
    void startRunning() {
        serveHealth();
        supervisor->start();
        scheduler.runReady();
        ASSERT_EQ(supervisor->state(), State(Running{50001}));
    }
};

// --- a launch ---------------------------------------------------------------------------------

TEST_F(ServerSupervisorTest, isStoppedBeforeTheFirstStart) {
    EXPECT_EQ(supervisor->state(), State(Stopped{}));
    EXPECT_EQ(launcher.launches(), 0U);
}

TEST_F(ServerSupervisorTest, goesFromStartingToRunningOnceTheServerEchoesTheNonce) {
    serveHealth();
    supervisor->start();
    EXPECT_THAT(states, ElementsAre(State(Starting{})));
    scheduler.runReady();
    EXPECT_THAT(states, ElementsAre(State(Starting{}), State(Running{50001})));
    ASSERT_EQ(http.requests.size(), 1U);
    EXPECT_EQ(http.requests[0].url, "http://127.0.0.1:50001/api/health");
    EXPECT_EQ(http.requests[0].timeout, 500ms);
    EXPECT_EQ(http.requests[0].maxRedirects, 0);
    EXPECT_THAT(http.requests[0].headers, ElementsAre(Pair("Cache-Control", "no-cache")));
}

TEST_F(ServerSupervisorTest, passesItsArgumentsInOrder) {
    files.modes["/usr/local/bin/ffmpeg"] = 0755;
    files.modes["/opt/homebrew/bin/fpcalc"] = 0755;
    supervisor->start();
    const auto& options = launcher.last()->options();
    EXPECT_EQ(options.executable, "/Apps/Zorvane.app/Contents/MacOS/ostrad");
    EXPECT_THAT(options.arguments,
                ElementsAre("-addr", "127.0.0.1:50001", "-db", "/support/app.zorvane/library.db",
                            "-plugins", "/support/app.zorvane/plugins", "-ffmpeg",
                            "/usr/local/bin/ffmpeg", "-fpcalc", "/opt/homebrew/bin/fpcalc"));
}

TEST_F(ServerSupervisorTest, addsItsVariablesToTheInheritedEnvironment) {
    supervisor->start();
    EXPECT_THAT(launcher.last()->options().environment,
                ElementsAre(Pair("MEDIASERVER_ARTWORK_DIR", "/support/app.zorvane/artwork"),
                            Pair("MEDIASERVER_HEALTH_NONCE", "000102030405060708090a0b0c0d0e0f"),
                            Pair("PATH", "/bin")));
}

TEST_F(ServerSupervisorTest, usesANewNonceForEveryLaunch) {
    supervisor->start();
    const std::string first = nonce();
    supervisor->restart();
    scheduler.advance(1s);
    EXPECT_EQ(launcher.launches(), 2U);
    EXPECT_NE(nonce(), first);
}

TEST_F(ServerSupervisorTest, hasTheServerGuardedWithItsOwnGraceAndMarkedByItsNonce) {
    supervisor->start();
    EXPECT_EQ(launcher.last()->options().markVariable, "MEDIASERVER_HEALTH_NONCE");
    EXPECT_EQ(launcher.last()->options().guardianGrace, 6s);
}

TEST_F(ServerSupervisorTest, logsTheLaunch) {
    supervisor->start();
    EXPECT_THAT(
        log.lines,
        ElementsAre("ostrad spawned (pid 1) on 127.0.0.1:50001, db "
                    "/support/app.zorvane/library.db, artwork /support/app.zorvane/artwork"));
}

TEST_F(ServerSupervisorTest, makesPrivateFoldersAndTightensWhatIsThere) {
    files.modes["/support/app.zorvane"] = 0755;
    files.modes["/support/app.zorvane/plugins"] = 0777;
    files.modes["/support/app.zorvane/library.db"] = 0644;
    files.modes["/support/app.zorvane/library.db-wal"] = 0640;
    files.modes["/support/app.zorvane/library.db-shm"] = 0666;
    supervisor->start();
    for (const char* folder : {"", "/plugins", "/artwork"}) {
        EXPECT_EQ(files.modes["/support/app.zorvane" + std::string(folder)], 0700U) << folder;
    }
    EXPECT_EQ(files.modes["/support/app.zorvane/library.db"], 0600U);
    EXPECT_EQ(files.modes["/support/app.zorvane/library.db-wal"], 0600U);
    EXPECT_EQ(files.modes["/support/app.zorvane/library.db-shm"], 0600U);
}

TEST_F(ServerSupervisorTest, makesNoDatabaseFiles) {
    supervisor->start();
    for (const char* suffix : {"", "-wal", "-shm"}) {
        EXPECT_FALSE(files.modes.contains("/support/app.zorvane/library.db" + std::string(suffix)));
    }
}

TEST_F(ServerSupervisorTest, launchesUnderAPrivateMaskAndPutsTheOldOneBack) {
    mode_t during = 0;
    launcher.onLaunch = [&] { during = files.mask; };
    supervisor->start();
    EXPECT_EQ(during, 077U);
    EXPECT_EQ(files.mask, 022U);

    launcher.failure = platform::LaunchError{"cannot start it", ENOENT};
    supervisor->start();
    EXPECT_EQ(files.mask, 022U);
}

TEST_F(ServerSupervisorTest, logsTheChildsOutputLineByLine) {
    supervisor->start();
    log.lines.clear();
    launcher.last()->print("listening\n\nscanning M");
    launcher.last()->print("usic\n\xFF\nlast");
    launcher.last()->exit({.signalled = false, .code = 0});
    EXPECT_THAT(log.lines,
                ElementsAre("[ostrad] listening", "[ostrad] scanning Music", "[ostrad] last"));
}

// --- a launch that fails ----------------------------------------------------------------------

TEST_F(ServerSupervisorTest, saysThatThereIsNoServer) {
    bundle.auxiliaryExecutables.clear();
    supervisor->start();
    EXPECT_THAT(states,
                ElementsAre(State(Failed{
                    "ostrad not found (set OSTRA_SIDECAR or bundle Contents/MacOS/ostrad)"})));
    scheduler.advance(1h);
    EXPECT_EQ(launcher.launches(), 0U) << "nothing is retried";
    EXPECT_EQ(states.size(), 1U);
}

TEST_F(ServerSupervisorTest, saysWhyALaunchFailed) {
    const platform::FileError noFolder{"cannot create the folder /support", EACCES};
    const platform::LaunchError noStart{"cannot start /x", ENOENT};
    const std::vector<std::pair<std::function<void()>, std::string>> cases{
        {[&] { launcher.failure = noStart; }, noStart.description()},
        {[&] { ports.failure = platform::PortFailure{platform::PortFailure::Stage::bind, EACCES}; },
         "no port on 127.0.0.1 could be bound: Permission denied (errno 13)"},
        {[&] { files.supportFailure = noFolder; }, noFolder.description()},
        {[&] { files.createFailure = noFolder; }, noFolder.description()},
        {[&] { files.permissionFailure = noFolder; }, noFolder.description()},
    };
    for (const auto& [arrange, reason] : cases) {
        launcher.failure.reset();
        ports.failure.reset();
        files.supportFailure.reset();
        files.createFailure.reset();
        files.permissionFailure.reset();
        states.clear();
        arrange();
        supervisor->start();
        EXPECT_THAT(states, ElementsAre(State(Failed{"failed to launch ostrad: " + reason})));
        EXPECT_EQ(log.lines.back(), "failed to launch ostrad: " + reason);
        EXPECT_EQ(files.mask, 022U);
        scheduler.advance(1h);
        EXPECT_EQ(states.size(), 1U) << "nothing is retried";
    }
}

TEST_F(ServerSupervisorTest, reportsAnOverrideThatDoesNotExistAsALaunchFailure) {
    makeSupervisor({{"OSTRA_SIDECAR", "/nowhere/server"}});
    launcher.failure = platform::LaunchError{"cannot start /nowhere/server", ENOENT};
    supervisor->start();
    EXPECT_THAT(states, ElementsAre(State(Failed{"failed to launch ostrad: " +
                                                 launcher.failure->description()})));
}

// --- health -----------------------------------------------------------------------------------

TEST_F(ServerSupervisorTest, takesTheCompactNonceAnywhereInTheBodyForHealth) {
    const HttpResult before = reply(200, R"({"nonce":"abc","status":"ok"})");
    const HttpResult after = reply(200, R"(anything "nonce":"abc" at all)");
    EXPECT_TRUE(isHealthyReply(before, "abc"));
    EXPECT_TRUE(isHealthyReply(after, "abc"));
}

TEST_F(ServerSupervisorTest, takesNothingElseForHealth) {
    for (const HttpResult& result :
         {reply(200, R"({"nonce": "abc"})"), reply(200, R"({"nonce" :"abc"})"),
          reply(200, R"({"nonce":"abd"})"), reply(200, R"({"nonce":"abcd"})"), reply(200, ""),
          reply(204, R"({"nonce":"abc"})"), reply(201, R"({"nonce":"abc"})"),
          reply(302, R"({"nonce":"abc"})"), reply(500, R"({"nonce":"abc"})"),
          reply(200, "{\"nonce\":\"abc\"}\xFF"),
          HttpResult(std::unexpected(
              platform::HttpError{platform::HttpError::Kind::timedOut, "timed out"}))}) {
        EXPECT_FALSE(isHealthyReply(result, "abc"));
    }
}

TEST_F(ServerSupervisorTest, asksFortyTimesAndThenGivesUpAndForgetsThePort) {
    supervisor->start();
    EXPECT_EQ(defaults.values[portKey], 50001);
    scheduler.advance(40 * 500ms - 1ms);
    EXPECT_EQ(http.requests.size(), 40U);
    EXPECT_THAT(states, ElementsAre(State(Starting{})));
    scheduler.advance(1ms);
    EXPECT_THAT(states, ElementsAre(State(Starting{}),
                                    State(Failed{"server never became healthy on port 50001"})));
    EXPECT_FALSE(defaults.values.contains(portKey));
    scheduler.advance(1h);
    EXPECT_EQ(http.requests.size(), 40U);
    EXPECT_EQ(launcher.launches(), 1U) << "no restart is scheduled";
    EXPECT_THAT(launcher.events, ElementsAre("launch 1")) << "the child is not killed";

    supervisor->start();
    EXPECT_EQ(launcher.last()->options().arguments[1], "127.0.0.1:50002");
}

TEST_F(ServerSupervisorTest, waitsHalfASecondForEachAnswerAndHalfASecondAfterIt) {
    http.script = [](const platform::HttpRequest&)
        -> std::optional<platform::testing::ScriptedHttpClient::Answer> { return std::nullopt; };
    supervisor->start();
    scheduler.advance(999ms);
    EXPECT_EQ(http.requests.size(), 1U) << "one request at a time";
    scheduler.advance(1ms);
    EXPECT_EQ(http.requests.size(), 2U);
    scheduler.advance(39s - 1ms);
    EXPECT_EQ(states.size(), 1U);
    scheduler.advance(1ms);
    EXPECT_THAT(states.back(), State(Failed{"server never became healthy on port 50001"}));
}

TEST_F(ServerSupervisorTest, isHealthyOnTheFortiethTry) {
    int asked = 0;
    http.script = [&](const platform::HttpRequest&) {
        return platform::testing::ScriptedHttpClient::Answer{
            ++asked < 40 ? reply(503, "") : reply(200, "\"nonce\":\"" + nonce() + "\""), 0ms};
    };
    supervisor->start();
    scheduler.advance(39 * 500ms);
    EXPECT_EQ(supervisor->state(), State(Running{50001}));
    scheduler.advance(1h);
    EXPECT_EQ(asked, 40) << "the loop has ended";
}

TEST_F(ServerSupervisorTest, ignoresAHealthAnswerThatArrivesAfterARestart) {
    serveHealth(300ms);
    supervisor->start();
    scheduler.advance(100ms);
    supervisor->restart();
    scheduler.advance(250ms); // the first child's answer comes in
    EXPECT_THAT(states, ElementsAre(State(Starting{}), State(Stopped{}), State(Starting{})));
    scheduler.advance(250ms);
    EXPECT_EQ(states.size(), 4U);
    EXPECT_TRUE(std::holds_alternative<Running>(states.back()));
}

// The answer has been judged and its verdict waits on the main queue when the new launch comes.
TEST_F(ServerSupervisorTest, ignoresAHealthVerdictThatWasPostedBeforeANewLaunch) {
    http.script = [&](const platform::HttpRequest&) {
        if (launcher.launches() == 1) {
            onMainQueueAfter(3, [this] { supervisor->start(); });
        }
        return launcher.launches() == 1
                   ? std::optional(platform::testing::ScriptedHttpClient::Answer{
                         reply(200, "\"nonce\":\"" + nonce() + "\""), 0ms})
                   : std::nullopt;
    };
    supervisor->start();
    scheduler.runReady();
    EXPECT_EQ(launcher.launches(), 2U);
    EXPECT_THAT(states, ElementsAre(State(Starting{}), State(Starting{})));
}

TEST_F(ServerSupervisorTest, isNotRunningOnTheWordOfAChildThatExited) {
    serveHealth(300ms);
    supervisor->start();
    scheduler.advance(299ms);
    launcher.last()->exit({.signalled = false, .code = 3});
    scheduler.advance(1s);
    EXPECT_THAT(states, ElementsAre(State(Starting{}),
                                    State(Failed{"server exited (status 3); restarting"})));
}

// --- an exit that nobody asked for ---------------------------------------------------------------

TEST_F(ServerSupervisorTest, restartsAChildThatExitedAfterTwoSecondsEightSecondsLater) {
    startRunning();
    scheduler.advance(2s);
    log.lines.clear();
    launcher.last()->exit({.signalled = false, .code = 1});
    scheduler.runReady();
    EXPECT_EQ(supervisor->state(), State(Failed{"server exited (status 1); restarting"}));
    EXPECT_THAT(log.lines, ElementsAre("ostrad exited (status 1); restarting in 8.0s"));
    scheduler.advance(8s - 1ns);
    EXPECT_EQ(launcher.launches(), 1U);
    scheduler.advance(1ns);
    EXPECT_EQ(launcher.launches(), 2U);
    EXPECT_TRUE(std::holds_alternative<Running>(supervisor->state()));
}

TEST_F(ServerSupervisorTest, restartsAChildThatRanForAnHourAtOnce) {
    startRunning();
    scheduler.advance(1h);
    log.lines.clear();
    launcher.last()->exit({.signalled = true, .code = SIGSEGV});
    scheduler.runReady();
    EXPECT_EQ(log.lines.at(0), "ostrad exited (status 11); restarting in 0.0s");
    EXPECT_EQ(launcher.launches(), 2U);
}

TEST_F(ServerSupervisorTest, keepsTheSamePortAcrossRestarts) {
    startRunning();
    scheduler.advance(1min);
    launcher.last()->exit({.signalled = false, .code = 1});
    scheduler.runReady();
    EXPECT_EQ(launcher.launches(), 2U);
    EXPECT_EQ(launcher.last()->options().arguments[1], "127.0.0.1:50001");
}

// A service manager that stops us ends the server in the same breath.
TEST_F(ServerSupervisorTest, waitsAMomentAfterAnExitThatMayBeTheAnswerToASigterm) {
    for (const ExitStatus status :
         {ExitStatus{.signalled = true, .code = SIGTERM}, ExitStatus{.signalled = false, .code = 0},
          ExitStatus{.signalled = false, .code = 143}}) {
        startRunning();
        scheduler.advance(1h);
        const auto launches = launcher.launches();
        launcher.last()->exit(status);
        scheduler.advance(250ms - 1ns);
        EXPECT_EQ(launcher.launches(), launches);
        EXPECT_EQ(log.lines.back(),
                  "ostrad exited (status " + std::to_string(status.code) + "); restarting in 0.0s");
        scheduler.advance(1ns);
        EXPECT_EQ(launcher.launches(), launches + 1);
        supervisor->stop();
        scheduler.advance(1s);
    }
}

TEST_F(ServerSupervisorTest, addsNoMomentToTheThrottle) {
    startRunning();
    scheduler.advance(2s);
    launcher.last()->exit({.signalled = true, .code = SIGTERM});
    scheduler.advance(8s - 1ns);
    EXPECT_EQ(launcher.launches(), 1U);
    scheduler.advance(1ns);
    EXPECT_EQ(launcher.launches(), 2U);
}

TEST_F(ServerSupervisorTest, waitsNoMomentAfterAnyOtherExit) {
    startRunning();
    for (const ExitStatus status :
         {ExitStatus{.signalled = true, .code = SIGKILL}, ExitStatus{.signalled = true, .code = 0},
          ExitStatus{.signalled = false, .code = SIGTERM},
          ExitStatus{.signalled = false, .code = 137}}) {
        scheduler.advance(10s);
        const auto launches = launcher.launches();
        launcher.last()->exit(status);
        scheduler.runReady();
        EXPECT_EQ(launcher.launches(), launches + 1) << status.signalled << status.code;
    }
}

TEST_F(ServerSupervisorTest, startsNoSecondServerWhenItsOwnEndFollowsTheServersAtOnce) {
    startRunning();
    scheduler.advance(1h);
    launcher.last()->exit({.signalled = true, .code = SIGTERM});
    scheduler.advance(249ms);
    supervisor->stopSync();
    scheduler.advance(1h);
    EXPECT_EQ(launcher.launches(), 1U);
}

TEST_F(ServerSupervisorTest, relaunchesAChildThatKeepsDyingEveryTenSecondsWithoutEnd) {
    supervisor->start();
    for (std::size_t launch = 1; launch <= 50; ++launch) {
        ASSERT_EQ(launcher.launches(), launch);
        launcher.last()->exit({.signalled = false, .code = 1});
        scheduler.advance(10s - 1ms);
        ASSERT_EQ(launcher.launches(), launch);
        scheduler.advance(1ms);
    }
}

TEST_F(ServerSupervisorTest, doesNotRestartWhenAStopCameDuringTheWait) {
    startRunning();
    launcher.last()->exit({.signalled = false, .code = 1});
    scheduler.advance(1s);
    supervisor->stop();
    scheduler.advance(1h);
    EXPECT_EQ(launcher.launches(), 1U);
    EXPECT_EQ(supervisor->state(), State(Stopped{}));
}

TEST_F(ServerSupervisorTest, startsOnceWhenAStartCameDuringTheWait) {
    startRunning();
    launcher.last()->exit({.signalled = false, .code = 1});
    scheduler.advance(1s);
    supervisor->start();
    scheduler.advance(1h);
    EXPECT_EQ(launcher.launches(), 2U);
    EXPECT_EQ(launcher.running(), 1);
}

TEST_F(ServerSupervisorTest, restartsAChildThatExitsAfterItWasGivenUp) {
    supervisor->start();
    scheduler.advance(20s);
    ASSERT_EQ(states.back(), State(Failed{"server never became healthy on port 50001"}));
    launcher.last()->exit({.signalled = false, .code = 7});
    scheduler.runReady();
    EXPECT_EQ(launcher.launches(), 2U);
}

// --- stopping ---------------------------------------------------------------------------------

TEST_F(ServerSupervisorTest, stopsAndCompletesOnTheMainThreadOnceTheChildHasExited) {
    launcher.exitsAfterTerminate = 1s;
    startRunning();
    bool completed = false;
    supervisor->stop([&] {
        completed = true;
        EXPECT_TRUE(scheduler.mainQueue().isMainThread());
    });
    EXPECT_EQ(supervisor->state(), State(Stopped{})) << "at once";
    scheduler.advance(999ms);
    EXPECT_FALSE(completed);
    scheduler.advance(101ms);
    EXPECT_TRUE(completed);
    EXPECT_THAT(launcher.events, ElementsAre("launch 1", "terminate 1", "exit 1"));
}

TEST_F(ServerSupervisorTest, completesAStopAtOnceWhenThereIsNoChild) {
    bool completed = false;
    supervisor->stop([&] { completed = true; });
    EXPECT_TRUE(completed);
    EXPECT_THAT(states, ElementsAre(State(Stopped{})));
}

TEST_F(ServerSupervisorTest, killsAChildThatIgnoresTerminationSixSecondsLater) {
    launcher.exitsAfterTerminate.reset();
    startRunning();
    bool completed = false;
    supervisor->stop([&] { completed = true; });
    scheduler.advance(6s - 1ms);
    EXPECT_THAT(launcher.events, ElementsAre("launch 1", "terminate 1"));
    EXPECT_FALSE(completed);
    scheduler.advance(101ms);
    EXPECT_THAT(launcher.events, ElementsAre("launch 1", "terminate 1", "kill 1", "exit 1"));
    EXPECT_TRUE(completed);
}

TEST_F(ServerSupervisorTest, completesAStopOnlyWhenTheKilledChildHasExited) {
    launcher.exitsAfterTerminate.reset();
    launcher.exitsAfterKill = 700ms;
    startRunning();
    bool completed = false;
    supervisor->stop([&] { completed = true; });
    scheduler.advance(6s);
    EXPECT_THAT(launcher.events, ElementsAre("launch 1", "terminate 1", "kill 1"));
    scheduler.advance(699ms);
    EXPECT_FALSE(completed);
    scheduler.advance(1ms);
    EXPECT_TRUE(completed);
}

TEST_F(ServerSupervisorTest, completesAStopOnlyWhenEveryChildIsGone) {
    launcher.exitsAfterTerminate = 4s;
    startRunning();
    supervisor->stop();
    launcher.exitsAfterTerminate = 1s;
    supervisor->start();
    bool completed = false;
    supervisor->stop([&] { completed = true; });
    scheduler.advance(3s);
    EXPECT_EQ(launcher.running(), 1);
    EXPECT_FALSE(completed);
    scheduler.advance(1s);
    EXPECT_EQ(launcher.running(), 0);
    EXPECT_TRUE(completed);
}

TEST_F(ServerSupervisorTest, forgetsWhoWaitedForAStopWhenTheApplicationEnds) {
    launcher.exitsAfterTerminate = 1s;
    startRunning();
    bool completed = false;
    supervisor->stop([&] { completed = true; });
    supervisor->stopSync();
    supervisor->start();
    supervisor->stop();
    scheduler.advance(10s);
    EXPECT_EQ(launcher.running(), 0);
    EXPECT_FALSE(completed);
}

TEST_F(ServerSupervisorTest, restartsOnTheSamePortOnlyWhenTheKilledChildIsGone) {
    launcher.exitsAfterTerminate.reset();
    launcher.exitsAfterKill = 700ms;
    startRunning();
    int runningAtLaunch = -1;
    launcher.onLaunch = [&] { runningAtLaunch = launcher.running(); };
    supervisor->restart();
    scheduler.advance(10s);
    EXPECT_EQ(launcher.launches(), 2U);
    EXPECT_EQ(runningAtLaunch, 0);
    EXPECT_EQ(defaults.values[portKey], 50001);
}

TEST_F(ServerSupervisorTest, doesNotCallAStoppedChildsExitAFailure) {
    startRunning();
    states.clear();
    supervisor->stop();
    scheduler.advance(1h);
    EXPECT_THAT(states, ElementsAre(State(Stopped{})));
    EXPECT_EQ(launcher.launches(), 1U);
}

TEST_F(ServerSupervisorTest, ignoresAnExitThatWasOnItsWayWhenTheStopCame) {
    startRunning();
    states.clear();
    launcher.last()->exit({.signalled = false, .code = 1}); // posted, not handled yet
    bool completed = false;
    supervisor->stop([&] { completed = true; });
    EXPECT_TRUE(completed) << "the child is gone already";
    scheduler.advance(1h);
    EXPECT_THAT(states, ElementsAre(State(Stopped{})));
    EXPECT_EQ(launcher.launches(), 1U);
}

TEST_F(ServerSupervisorTest, stopsWhileTheServerIsStillStarting) {
    supervisor->start();
    scheduler.advance(1s);
    supervisor->stop();
    scheduler.advance(1s);
    const std::size_t asked = http.requests.size();
    scheduler.advance(1h);
    EXPECT_THAT(states, ElementsAre(State(Starting{}), State(Stopped{})));
    EXPECT_EQ(http.requests.size(), asked) << "a stopped server's port is left alone";
    EXPECT_EQ(launcher.running(), 0);
    EXPECT_EQ(defaults.values[portKey], 50001) << "a stop is no reason to change the port";
}

TEST_F(ServerSupervisorTest, stopSyncBlocksUntilTheChildHasExitedAndReportsNothing) {
    launcher.exitsAfterTerminate = 2500ms;
    startRunning();
    states.clear();
    const auto before = scheduler.clock().now();
    supervisor->stopSync();
    EXPECT_EQ(launcher.running(), 0);
    EXPECT_EQ(scheduler.clock().now() - before, 2500ms);
    EXPECT_THAT(launcher.events, ElementsAre("launch 1", "terminate 1", "exit 1"));
    scheduler.advance(1h);
    EXPECT_THAT(states, IsEmpty());
    EXPECT_EQ(launcher.launches(), 1U);
}

TEST_F(ServerSupervisorTest, stopSyncKillsAfterTheGrace) {
    launcher.exitsAfterTerminate.reset();
    startRunning();
    const auto before = scheduler.clock().now();
    supervisor->stopSync();
    EXPECT_EQ(scheduler.clock().now() - before, 6s);
    EXPECT_THAT(launcher.events, ElementsAre("launch 1", "terminate 1", "kill 1", "exit 1"));
}

TEST_F(ServerSupervisorTest, stopSyncWithoutAChildReturnsAtOnce) {
    const auto before = scheduler.clock().now();
    supervisor->stopSync();
    EXPECT_EQ(scheduler.clock().now(), before);
}

TEST_F(ServerSupervisorTest, stopSyncAlsoEndsAChildWhoseStopIsUnderWay) {
    launcher.exitsAfterTerminate.reset();
    startRunning();
    supervisor->restart();
    scheduler.advance(1s);
    supervisor->stopSync();
    EXPECT_EQ(launcher.events.back(), "kill 1");
    scheduler.advance(1h);
    EXPECT_EQ(launcher.running(), 0);
    EXPECT_EQ(launcher.launches(), 1U) << "the restart died with the application";
}

// --- restarting -------------------------------------------------------------------------------

TEST_F(ServerSupervisorTest, restartsByStoppingFirst) {
    launcher.exitsAfterTerminate = 350ms;
    startRunning();
    states.clear();
    supervisor->restart();
    scheduler.advance(1s);
    EXPECT_THAT(states, ElementsAre(State(Stopped{}), State(Starting{}), State(Running{50001})));
    EXPECT_THAT(launcher.events, ElementsAre("launch 1", "terminate 1", "exit 1", "launch 2"));
}

TEST_F(ServerSupervisorTest, isNotThrottledWhenTheUserRestarts) {
    startRunning();
    supervisor->restart();
    scheduler.advance(200ms);
    EXPECT_EQ(launcher.launches(), 2U);
}

TEST_F(ServerSupervisorTest, restartWithoutAChildStarts) {
    serveHealth();
    supervisor->restart();
    scheduler.runReady();
    EXPECT_THAT(states, ElementsAre(State(Stopped{}), State(Starting{}), State(Running{50001})));
}

TEST_F(ServerSupervisorTest, startsOneChildForARestartDuringARestart) {
    launcher.exitsAfterTerminate = 3s;
    startRunning();
    supervisor->restart();
    scheduler.advance(1s);
    supervisor->restart();
    supervisor->restart();
    EXPECT_EQ(launcher.launches(), 1U) << "the first child has not exited yet";
    scheduler.advance(1h);
    EXPECT_EQ(launcher.launches(), 2U);
    EXPECT_EQ(launcher.running(), 1);
    EXPECT_TRUE(std::holds_alternative<Running>(supervisor->state()));
}

TEST_F(ServerSupervisorTest, aStopDuringARestartWins) {
    launcher.exitsAfterTerminate = 3s;
    startRunning();
    supervisor->restart();
    scheduler.advance(1s);
    bool completed = false;
    supervisor->stop([&] { completed = true; });
    EXPECT_FALSE(completed) << "the child is still there";
    scheduler.advance(1h);
    EXPECT_TRUE(completed);
    EXPECT_EQ(launcher.launches(), 1U);
    EXPECT_EQ(supervisor->state(), State(Stopped{}));
}

TEST_F(ServerSupervisorTest, aStartDuringARestartWinsAndIsTheOnlyOne) {
    launcher.exitsAfterTerminate = 3s;
    startRunning();
    supervisor->restart();
    scheduler.advance(1s);
    supervisor->start();
    scheduler.advance(1h);
    EXPECT_EQ(launcher.launches(), 2U);
    EXPECT_EQ(launcher.running(), 1);
}

TEST_F(ServerSupervisorTest, ignoresTheExitOfAChildFromBeforeARestart) {
    launcher.exitsAfterTerminate.reset();
    startRunning();
    states.clear();
    supervisor->restart();
    scheduler.advance(10s); // killed after six
    EXPECT_THAT(states, ElementsAre(State(Stopped{}), State(Starting{}), State(Running{50001})));
    EXPECT_EQ(launcher.running(), 1);
}

TEST_F(ServerSupervisorTest, killsAChildItStillHoldsWhenItIsStartedAgain) {
    startRunning();
    supervisor->start();
    EXPECT_THAT(launcher.events, ElementsAre("launch 1", "kill 1", "exit 1", "launch 2"));
    EXPECT_EQ(launcher.running(), 1);
}

// --- callbacks, threads, lifetime ---------------------------------------------------------------

TEST_F(ServerSupervisorTest, mayBeStoppedFromItsOwnCallback) {
    serveHealth();
    supervisor->onStateChange = [&](const State& state) {
        states.push_back(state);
        if (std::holds_alternative<Starting>(state)) {
            supervisor->stop();
        }
    };
    supervisor->start();
    scheduler.advance(1h);
    EXPECT_THAT(states, ElementsAre(State(Starting{}), State(Stopped{})));
    EXPECT_THAT(http.requests, IsEmpty());
    EXPECT_EQ(launcher.running(), 0);
}

TEST_F(ServerSupervisorTest, worksWithoutACallback) {
    supervisor->onStateChange = nullptr;
    startRunning();
    supervisor->stop();
    scheduler.advance(1s);
    EXPECT_EQ(supervisor->state(), State(Stopped{}));
}

TEST_F(ServerSupervisorTest, leavesNothingBehindWhenItIsDestroyed) {
    startRunning();
    launcher.last()->print("still talking\n");
    supervisor.reset();
    EXPECT_EQ(launcher.running(), 0);
    scheduler.advance(1h);
    EXPECT_EQ(launcher.launches(), 1U);
}

TEST_F(ServerSupervisorTest, asksNobodyForHealthOnceItIsDestroyed) {
    supervisor->start();
    scheduler.advance(1s);
    supervisor.reset();
    const std::size_t asked = http.requests.size();
    scheduler.advance(1h);
    EXPECT_EQ(http.requests.size(), asked);
}

TEST_F(ServerSupervisorTest, isDestroyedWithARestartUnderWay) {
    launcher.exitsAfterTerminate = 1s;
    startRunning();
    supervisor->restart();
    supervisor.reset();
    scheduler.advance(1h);
    EXPECT_EQ(launcher.launches(), 1U);
    EXPECT_EQ(launcher.running(), 0);
}

using ServerSupervisorDeathTest = ServerSupervisorTest;

TEST_F(ServerSupervisorDeathTest, trapsWhenItIsCalledOffTheMainThread) {
    testing::GTEST_FLAG(death_test_style) = "fast";
    scheduler.leaveMainThread();
    EXPECT_DEATH(supervisor->start(), "off the main thread");
    EXPECT_DEATH(supervisor->stop(), "off the main thread");
    EXPECT_DEATH(supervisor->stopSync(), "off the main thread");
    EXPECT_DEATH(supervisor->restart(), "off the main thread");
}

} // namespace
} // namespace zorvane
