// How the end of a child is seen: its status, its last output, and that nothing of it is left.
#include "tests/platform/process/ChildFixture.h"
#include "tests/support/threads/JoiningThread.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <future>
#include <latch>
#include <thread>

namespace process_test {
namespace {

using namespace std::chrono_literals;

TEST_F(ChildTest, reportsTheExitCode) {
    const auto child = launch(testChild({"exit=7"}, recorder));
    EXPECT_EQ(recorder.exit(), exitedWith(7));
}

TEST_F(ChildTest, reportsTheSignalThatEndedTheChild) {
    const auto child = launch(testChild({"signal=" + std::to_string(SIGUSR1)}, recorder));
    EXPECT_EQ(recorder.exit(), killedBy(SIGUSR1));
}

TEST_F(ChildTest, reportsTheExitOnceAfterTheLastOutput) {
    const auto child = launch(testChild({"flood=3000000:1000", "exit=1"}, recorder));
    EXPECT_EQ(recorder.exit(), exitedWith(1));
    launcher.reset();
    EXPECT_EQ(recorder.output().size(), 3000000);
    EXPECT_EQ(recorder.exits(), 1);
    EXPECT_FALSE(recorder.hadOutputAfterExit());
}

TEST_F(ChildTest, isReapedAndNotRunningWhenTheExitIsReported) {
    std::promise<std::shared_ptr<platform::ChildProcess>> handle;
    std::promise<std::pair<bool, bool>> seen;
    auto options = testChild({"exit=0"});
    options.onExit = [&, child = handle.get_future().share()](platform::ExitStatus) {
        seen.set_value({child.get()->isRunning(), hasChildren()});
    };
    handle.set_value(launch(std::move(options)));
    EXPECT_EQ(seen.get_future().get(), std::pair(false, false));
}

TEST_F(ChildTest, isRunningUntilItHasExited) {
    const auto child = launch(testChild({"ready", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    EXPECT_TRUE(child->isRunning());
    EXPECT_FALSE(child->waitForExit(0ms));
    EXPECT_FALSE(child->waitForExit(-1ms));
    child->kill();
    EXPECT_TRUE(child->waitForExit(patience));
    EXPECT_FALSE(child->isRunning());
    EXPECT_TRUE(child->waitForExit(0ms));
}

TEST_F(ChildTest, canBeWaitedForWithoutALimit) {
    const auto child = launch(testChild({"sleep=20", "exit=0"}));
    EXPECT_TRUE(child->waitForExit(std::chrono::milliseconds::max()));
}

TEST_F(ChildTest, canBeWaitedForInsideACallback) {
    std::promise<std::shared_ptr<platform::ChildProcess>> handle;
    std::promise<bool> exited;
    auto options = testChild({"ready", "sleep=20", "exit=0"});
    options.onOutput = [&, child = handle.get_future().share()](std::string_view) {
        exited.set_value(child.get()->waitForExit(patience));
    };
    handle.set_value(launch(std::move(options)));
    EXPECT_TRUE(exited.get_future().get());
}

TEST_F(ChildTest, isReportedThoughItClosedItsOutputLongBefore) {
    auto options = testChild({});
    options.executable = "/bin/sh";
    options.arguments = {"-c", "echo bye; exec >&- 2>&-; sleep 0.05; exit 5"};
    options.environment = platform::currentEnvironment();
    EXPECT_EQ(outputOf(std::move(options)), "bye\n");
    EXPECT_EQ(recorder.exit(), exitedWith(5));
}

TEST_F(ChildTest, takesItsGroupWithItWhenItExits) {
    const auto child =
        launch(testChild({"fork=hold", "fork=drop", "sleep=20", "exit=2"}, recorder));
    EXPECT_EQ(recorder.exit(), exitedWith(2));
    EXPECT_TRUE(recorder.says("grandchild"));
    EXPECT_TRUE(groupEnds(child->pid()));
}

TEST_F(ChildTest, takesWithItWhoeverLeftItsGroup) {
    for (const char* kind : {"fork-away=hold", "fork-lost=drop", "fork-bare=drop"}) {
        const Recorder each;
        const auto child = launch(testChild({kind, "fork-lost=drop", "sleep=20", "exit=2"}, each));
        const Watched away(each.numberAfter("grandchild"));
        EXPECT_EQ(each.exit(), exitedWith(2));
        EXPECT_FALSE(away.lives()) << kind;
        EXPECT_FALSE(hasChildren());
    }
}

TEST_F(ChildTest, isReportedThoughSomebodyWhoLeftTheGroupHoldsItsOutput) {
    const auto child = launch(testChild({"fork-away=hold", "print=last", "hang"}, recorder));
    const Watched away(recorder.numberAfter("grandchild"));
    EXPECT_TRUE(recorder.says("last"));
    child->kill();
    EXPECT_EQ(recorder.exit(), killedBy(SIGKILL));
    EXPECT_FALSE(away.lives());
}

TEST_F(ChildTest, isReportedThoughSomebodyWhoLeftTheGroupFloodsItsOutput) {
    std::atomic<std::size_t> bytes = 0;
    auto options = testChild({"fork-away=flood", "hang"});
    std::promise<void> flooded;
    options.onOutput = [&](std::string_view piece) {
        constexpr std::size_t enough = 10'000'000;
        if (bytes.load() < enough && bytes.load() + piece.size() >= enough) {
            flooded.set_value();
        }
        bytes += piece.size();
    };
    options.onExit = recorder.onExit();
    const auto child = launch(std::move(options));
    flooded.get_future().get();
    child->kill();
    EXPECT_EQ(recorder.exit(), killedBy(SIGKILL));
}

TEST_F(ChildTest, neverReapsAChildOfSomebodyElse) {
    const pid_t other = ::fork();
    if (other == 0) {
        ::_exit(42);
    }
    siginfo_t info = {};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(other), &info, WEXITED | WNOWAIT), 0);
    for (int turn = 0; turn < 20; ++turn) {
        const Recorder each;
        const auto child = launch(testChild({"exit=0"}, each));
        EXPECT_EQ(each.exit(), exitedWith(0));
    }
    int status = 0;
    ASSERT_EQ(::waitpid(other, &status, 0), other);
    EXPECT_EQ(WEXITSTATUS(status), 42);
}

TEST_F(ChildTest, leavesNoDescriptorZombieOrThreadBehindAfterAThousandLaunches) {
    const auto descriptors = openDescriptors();
    for (int turn = 0; turn < 1000; ++turn) {
        const Recorder each;
        const auto child = launch(testChild({"ready", "exit=3"}, each));
        ASSERT_EQ(each.exit(), exitedWith(3));
        ASSERT_EQ(each.output(), "ready\n");
    }
    EXPECT_FALSE(hasChildren());
    EXPECT_TRUE(threadsBecome("children", 1));
    EXPECT_LT(openDescriptors(), descriptors + 10) << "the thread's pipe, the last child's own";
    launcher.reset();
    EXPECT_TRUE(threadsBecome("children", 0));
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(ChildTest, canBeLaunchedByManyThreadsAtOnce) {
    constexpr int perThread = 25;
    std::atomic<int> good = 0;
    std::latch start(4);
    std::vector<test_support::JoiningThread> workers;
    workers.reserve(4);
    for (int worker = 0; worker < 4; ++worker) {
        workers.emplace_back([&] {
            start.arrive_and_wait();
            for (int turn = 0; turn < perThread; ++turn) {
                const Recorder each;
                const auto child = launch(testChild({"descriptors", "exit=9"}, each));
                const bool right =
                    each.exit() == exitedWith(9) && each.output() == "descriptors 0 1 2\n";
                good += right ? 1 : 0;
            }
        });
    }
    workers.clear();
    EXPECT_EQ(good, 4 * perThread);
    EXPECT_FALSE(hasChildren());
}

} // namespace
} // namespace process_test
