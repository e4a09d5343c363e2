// The guardian: however an application ends, nothing of its server outlives it.
#include "platform/posix/Pipe.h"
#include "platform/posix/Reaping.h"
#include "platform/posix/Spawn.h"
#include "tests/platform/process/ChildFixture.h"
#include "tests/support/threads/JoiningThread.h"

#ifdef __linux__
#include <sys/prctl.h>
#endif
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <mutex>
#include <thread>

namespace process_test {
namespace {

using namespace std::chrono_literals;

// An application run by the test itself, without a guardian of its own that would end all at once.
class Application {
  public:
    Application(const std::vector<std::string>& arguments, const Recorder& recorder) {
        const auto image =
            platform::posix::ExecImage::make(ZORVANE_LAUNCHER_PROBE_PATH, arguments, {});
        auto pipe = platform::posix::makePipe();
        auto spawned = platform::posix::spawn(
            {.image = &*image, .output = pipe->writeEnd.get(), .endWithThread = false});
        processId = spawned->pid;
        EXPECT_EQ(spawned->awaitExec(), std::nullopt);
        pipe->writeEnd.reset();
        reader = test_support::JoiningThread(
            [pass = recorder.onOutput(), end = std::move(pipe->readEnd)] {
                char bytes[4096];
                for (long count = 0;
                     (count = platform::posix::readSome(end.get(), bytes, sizeof bytes)) > 0;) {
                    pass({bytes, static_cast<std::size_t>(count)});
                }
            });
    }
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    ~Application() { platform::posix::killAndReap(processId); }

    [[nodiscard]] pid_t pid() const { return processId; }

  private:
    pid_t processId = -1;
    test_support::JoiningThread reader;
};

class GuardedServer : public ChildTest {
  protected:
    void start(std::chrono::milliseconds grace, std::vector<std::string> cues) {
        cues.insert(cues.begin(), {ZORVANE_GUARDIAN_PATH, std::to_string(grace.count()),
                                   testchild::path().native()});
        cues.insert(cues.end(), {"print=complete", "hang"});
        application = std::make_unique<Application>(cues, recorder);
        server = std::make_unique<Watched>(recorder.numberAfter("server"));
        EXPECT_TRUE(recorder.says("complete"));
        guardian = std::make_unique<Watched>(parentOf(server->pid()));
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

    std::unique_ptr<Application> application;
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

// Stopped all the while, it could not be ended by SIGTERM alone; the grace is far longer than what
// this may take.
TEST_F(GuardedServer, isWokenUpToBeEnded) {
    const auto notes = temporaryPath();
    start(60s, {"fork=drop", "farewell=" + notes.native()});
    const Watched grandchild(recorder.numberAfter("grandchild"));
    server->signal(SIGSTOP);
    grandchild.signal(SIGSTOP);
    EXPECT_LT(endApplication(SIGKILL), 30s);
    EXPECT_EQ(contentOf(notes), "te") << "its own end, not a kill";
    EXPECT_TRUE(grandchild.ends());
    expectNobodyLeft();
}

// Its last words fill any pipe, so somebody reads them; and one SIGTERM is all it gets.
TEST_F(GuardedServer, endsInOrderThoughTheApplicationThatReadItsOutputIsGone) {
    const auto notes = temporaryPath();
    start(60s, {"farewell=" + notes.native()});
    EXPECT_LT(endApplication(SIGKILL), 30s);
    EXPECT_EQ(contentOf(notes), "te");
    expectNobodyLeft();
}

TEST_F(GuardedServer, takesWithItWhoeverLeftItsGroup) {
    for (const char* kind : {"fork-away=hold", "fork-lost=drop", "fork-bare=drop"}) {
        recorder = Recorder();
        start(20s, {kind});
        const Watched away(recorder.numberAfter("grandchild"));
        EXPECT_LT(endApplication(SIGKILL), 10s);
        EXPECT_TRUE(away.ends()) << kind;
        expectNobodyLeft();
    }
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

// Nobody is left who could send it anything: the kernel does.
TEST_F(GuardedServer, isKilledByTheSystemWhenApplicationAndGuardianGoTogether) {
    for (int turn = 0; turn < 10; ++turn) {
        recorder = Recorder();
        start(60s, {"ignore-term"});
        guardian->signal(SIGSTOP); // so that it cannot act before it is killed
        ::kill(application->pid(), SIGKILL);
        guardian->signal(SIGKILL);
        EXPECT_TRUE(server->ends());
        expectNobodyLeft();
    }
}

#ifdef __linux__
// The kernel by itself wakes what is stopped in a process group that nobody in its session looks
// after any more. Here somebody does: this process adopts the guardian.
TEST_F(GuardedServer, isEndedByAGuardianThatWasStoppedMeanwhile) {
    ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    start(60s, {});
    guardian->signal(SIGSTOP);
    ::kill(application->pid(), SIGKILL);
    EXPECT_TRUE(server->ends());
    guardian->signal(SIGCONT);
    expectNobodyLeft();
    platform::posix::reap(guardian->pid());
    EXPECT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 0), 0);
}
#endif

// The guardian within this process.

using Guarded = ChildTest;

platform::ChildOptions guardedChild(std::vector<std::string> cues, const Recorder& recorder) {
    auto options = testChild(std::move(cues), recorder);
    options.guardianGrace = 10s;
    return options;
}

TEST_F(Guarded, childIsTheGuardiansAndTheGuardianIsOurs) {
    const auto child = launch(guardedChild({"ready", "hang"}, recorder));
    EXPECT_EQ(parentOf(parentOf(child->pid())), ::getpid());
    EXPECT_EQ(membersOf(child->pid()), std::vector<pid_t>{child->pid()})
        << "a signal to the group does not reach the guardian";
}

TEST_F(Guarded, childTakesItsGuardianWithIt) {
    const auto child =
        launch(guardedChild({"ready", "on-term=0:3", "print=set", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("set"));
    const Watched guardian(parentOf(child->pid()));
    child->terminate();
    EXPECT_EQ(recorder.exit(), exitedWith(3));
    EXPECT_TRUE(guardian.ends());
    EXPECT_FALSE(hasChildren());
}

TEST_F(Guarded, childMayBeKilledThoughItsGuardianIsStopped) {
    const auto child = launch(guardedChild({"ready", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    ::kill(parentOf(child->pid()), SIGSTOP);
    child->kill();
    EXPECT_EQ(recorder.exit(), killedBy(SIGKILL));
    EXPECT_FALSE(hasChildren());
}

TEST_F(Guarded, childsExitIsReportedThoughItsGuardianIsStopped) {
    const auto child = launch(guardedChild({"ready", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    ::kill(parentOf(child->pid()), SIGSTOP);
    ::kill(child->pid(), SIGKILL);
    EXPECT_EQ(recorder.exit(), killedBy(SIGKILL));
    EXPECT_FALSE(hasChildren());
}

class KilledGuardian : public ChildTest {
  protected:
    void SetUp() override {
        launcher = std::make_unique<platform::PosixChildLauncher>(
            ZORVANE_GUARDIAN_PATH, [this](std::string_view report) {
                const std::lock_guard lock(mutex);
                reports.emplace_back(report);
            });
    }
    void TearDown() override { launcher.reset(); }

    std::mutex mutex;
    std::vector<std::string> reports;
};

TEST_F(KilledGuardian, takesTheChildAndItsWholeTreeWithIt) {
    auto options = guardedChild(
        {"ignore-term", "fork=drop", "print=forked", "fork-lost=drop", "ready", "hang"}, recorder);
    options.environment = {{"MARK", std::to_string(::getpid())}, {"OTHER", "1"}};
    options.markVariable = "MARK";
    const auto child = launch(std::move(options));
    EXPECT_TRUE(recorder.says("ready"));
    const std::string said = recorder.output();
    const Watched inGroup(recorder.numberAfter("grandchild"));
    const Watched lost(std::stoi(said.substr(said.rfind("grandchild ") + 11)));
    ASSERT_NE(inGroup.pid(), lost.pid());
    ::kill(parentOf(child->pid()), SIGKILL);
    EXPECT_EQ(recorder.exit(), killedBy(SIGKILL));
    EXPECT_FALSE(child->isRunning());
    EXPECT_FALSE(inGroup.lives());
    EXPECT_FALSE(lost.lives());
    EXPECT_FALSE(hasChildren());
    const std::lock_guard lock(mutex);
    EXPECT_EQ(reports,
              std::vector<std::string>{"the guardian of process " + std::to_string(child->pid()) +
                                       " was killed, and with it the process"});
}

// The entry as a whole is the mark: not its beginning, and not a value that merely holds it.
TEST_F(KilledGuardian, leavesThoseAloneWhoseEnvironmentOnlyResemblesTheMark) {
    Recorder others;
    auto longer = guardedChild({"ready", "hang"}, others);
    longer.environment = {{"MARK", "12"}, {"X", "MARK=1"}};
    const auto other = launch(std::move(longer));
    EXPECT_TRUE(others.says("ready"));
    auto options = guardedChild({"ready", "hang"}, recorder);
    options.environment = {{"MARK", "1"}};
    options.markVariable = "MARK";
    const auto child = launch(std::move(options));
    EXPECT_TRUE(recorder.says("ready"));
    ::kill(parentOf(child->pid()), SIGKILL);
    EXPECT_EQ(recorder.exit(), killedBy(SIGKILL));
    EXPECT_TRUE(other->isRunning());
}

} // namespace
} // namespace process_test
