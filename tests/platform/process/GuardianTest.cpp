// The guardian: however an application ends, nothing of its server's group outlives it.
#include "tests/platform/process/ChildFixture.h"

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <tuple>

namespace process_test {
namespace {

using namespace std::chrono_literals;

// An application with a guarded server, run as a child of the test.
class GuardedServer : public ChildTest {
  protected:
    void start(std::chrono::milliseconds grace, std::vector<std::string> cues) {
        cues.insert(cues.begin(), {ZORVANE_GUARDIAN_PATH, std::to_string(grace.count()),
                                   testchild::path().native()});
        cues.insert(cues.end(), {"print=complete", "hang"});
        auto options = testChild(std::move(cues), recorder);
        options.executable = ZORVANE_LAUNCHER_PROBE_PATH;
        application = launch(std::move(options));
        server = std::make_unique<Watched>(recorder.numberAfter("server"));
        EXPECT_TRUE(recorder.says("complete"));
        guardian = std::make_unique<Watched>(memberNamed("zorvane-guardian", server->pid()));
    }

    // From the application's end to the server's.
    std::chrono::milliseconds endApplication(int signal) {
        const auto begin = std::chrono::steady_clock::now();
        ::kill(application->pid(), signal);
        EXPECT_TRUE(server->ends());
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - begin);
    }

    void expectNobodyLeft() const {
        EXPECT_TRUE(guardian->ends());
        EXPECT_TRUE(groupEnds(server->pid()));
    }

    std::shared_ptr<platform::ChildProcess> application;
    std::unique_ptr<Watched> server;
    std::unique_ptr<Watched> guardian;
};

TEST_F(GuardedServer, endsPromptlyWithAnApplicationThatIsKilled) {
    start(20s, {"fork=hold"});
    const Watched grandchild(recorder.numberAfter("grandchild"));
    EXPECT_LT(endApplication(SIGKILL), 10s);
    EXPECT_TRUE(grandchild.ends());
    expectNobodyLeft();
}

TEST_F(GuardedServer, endsPromptlyWithAnApplicationThatAborts) {
    start(20s, {"fork=drop"});
    const Watched grandchild(recorder.numberAfter("grandchild"));
    EXPECT_LT(endApplication(SIGABRT), 10s);
    EXPECT_TRUE(grandchild.ends());
    expectNobodyLeft();
}

TEST_F(GuardedServer, endsPromptlyWithAnApplicationThatExitsWithoutStoppingIt) {
    start(20s, {});
    EXPECT_LT(endApplication(SIGUSR1), 10s);
    expectNobodyLeft();
}

TEST_F(GuardedServer, isKilledAfterTheGraceWhenItIgnoresSigterm) {
    start(300ms, {"ignore-term", "fork=hold"});
    const Watched grandchild(recorder.numberAfter("grandchild"));
    EXPECT_GE(endApplication(SIGKILL), 300ms);
    EXPECT_TRUE(grandchild.ends());
    expectNobodyLeft();
}

TEST_F(GuardedServer, isGivenTheTimeThatItNeedsWithinTheGrace) {
    start(20s, {"on-term=200:0"});
    const auto taken = endApplication(SIGABRT);
    EXPECT_GE(taken, 200ms);
    EXPECT_LT(taken, 10s);
    expectNobodyLeft();
}

TEST_F(GuardedServer, isKilledAtOnceWhenThereIsNoGrace) {
    start(0ms, {"ignore-term"});
    EXPECT_LT(endApplication(SIGKILL), 10s);
    expectNobodyLeft();
}

// Only the guardian can have told the grandchild: the kernel's message goes to the server alone.
TEST_F(GuardedServer, hasItsWholeGroupSentSigterm) {
    start(20s, {"fork=drop", "ignore-term"});
    const Watched grandchild(recorder.numberAfter("grandchild"));
    ::kill(application->pid(), SIGKILL);
    EXPECT_TRUE(grandchild.endsWithin(10s));
    EXPECT_TRUE(server->lives());
    EXPECT_TRUE(guardian->lives()) << "still giving the server its grace";
    server->signal(SIGKILL);
    EXPECT_TRUE(server->ends());
    expectNobodyLeft();
}

TEST_F(GuardedServer, isEndedThoughItIsStopped) {
    start(20s, {"fork=drop"});
    const Watched grandchild(recorder.numberAfter("grandchild"));
    server->signal(SIGSTOP);
    grandchild.signal(SIGSTOP);
    EXPECT_LT(endApplication(SIGKILL), 10s);
    EXPECT_TRUE(grandchild.ends());
    expectNobodyLeft();
}

TEST_F(GuardedServer, keepsItsGuardianThroughSignalsThatWouldEndOthers) {
    start(300ms, {"ignore-term", "fork=drop"});
    constexpr int lastOrdinarySignal = 31;
    for (int signal = 1; signal <= lastOrdinarySignal; ++signal) {
        if (signal != SIGKILL && signal != SIGSTOP) {
            guardian->signal(signal);
        }
    }
    ::kill(-server->pid(), SIGTERM);
    EXPECT_FALSE(guardian->endsWithin(50ms));
    EXPECT_TRUE(server->lives());
    endApplication(SIGKILL);
    expectNobodyLeft();
}

TEST_F(GuardedServer, getsAnotherGuardianWhenSomebodyKillsTheFirst) {
    start(300ms, {"ignore-term"});
    guardian->signal(SIGKILL);
    EXPECT_TRUE(guardian->ends());
    while (memberNamed("zorvane-guardian", server->pid()) < 0 && server->lives()) {
        std::ignore = server->endsWithin(1ms);
    }
    guardian = std::make_unique<Watched>(memberNamed("zorvane-guardian", server->pid()));
    EXPECT_GE(endApplication(SIGKILL), 300ms) << "the second guardian knows the grace too";
    expectNobodyLeft();
}

// The guardian within this process.

using Guarded = ChildTest;

platform::ChildOptions guardedChild(std::vector<std::string> cues, const Recorder& recorder) {
    auto options = testChild(std::move(cues), recorder);
    options.guardianGrace = 10s;
    return options;
}

TEST_F(Guarded, childHasItsGuardianFromItsFirstInstructionOn) {
    auto options = guardedChild({}, recorder);
    options.executable = "/bin/sh";
    options.environment = platform::currentEnvironment();
    options.arguments = {"-c",
                         "exec 2>/dev/null; for entry in /proc/[0-9]*/stat; do "
                         "read -r line < $entry && case $line in "
                         "*'(zorvane-guardia) '?' '*' '$$' '*) echo guarded;; esac; done; exit 0"};
    const auto child = launch(std::move(options));
    EXPECT_EQ(recorder.exit(), exitedWith(0));
    EXPECT_EQ(recorder.output(), "guarded\n");
}

TEST_F(Guarded, childTakesItsGuardianWithIt) {
    const auto child =
        launch(guardedChild({"ready", "on-term=0:3", "print=set", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("set"));
    const Watched guardian(memberNamed("zorvane-guardian", child->pid()));
    child->terminate();
    EXPECT_EQ(recorder.exit(), exitedWith(3));
    EXPECT_TRUE(guardian.ends());
    EXPECT_FALSE(hasChildren());
}

TEST_F(Guarded, childMayBeKilledWithItsGuardian) {
    const auto child = launch(guardedChild({"ready", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    const Watched guardian(memberNamed("zorvane-guardian", child->pid()));
    child->kill();
    EXPECT_EQ(recorder.exit(), killedBy(SIGKILL));
    EXPECT_TRUE(guardian.ends());
    EXPECT_FALSE(hasChildren());
}

TEST_F(Guarded, childKeepsRunningThoughAllItsGuardiansAreKilled) {
    std::mutex mutex;
    std::vector<std::string> reports;
    std::condition_variable changed;
    launcher = std::make_unique<platform::PosixChildLauncher>(ZORVANE_GUARDIAN_PATH,
                                                              [&](std::string_view report) {
                                                                  const std::lock_guard lock(mutex);
                                                                  reports.emplace_back(report);
                                                                  changed.notify_all();
                                                              });
    const auto child = launch(guardedChild({"ready", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    const std::string process = "the guardian of process " + std::to_string(child->pid());
    for (std::size_t killed = 1; killed <= 4; ++killed) {
        ::kill(memberNamed("zorvane-guardian", child->pid()), SIGKILL);
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, patience, [&] { return reports.size() == killed; }));
        EXPECT_EQ(reports.back(), process + (killed < 4 ? " ended and was replaced"
                                                        : " ended again and is not replaced"));
    }
    EXPECT_EQ(membersOf(child->pid()), std::vector<pid_t>{child->pid()});
    EXPECT_TRUE(child->isRunning());
    child->terminate();
    EXPECT_EQ(recorder.exit(), killedBy(SIGTERM));
    EXPECT_FALSE(hasChildren());
}

} // namespace
} // namespace process_test
