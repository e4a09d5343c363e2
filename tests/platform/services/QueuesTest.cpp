// The queues under their contracts, and what is the thread pool's own.
#include "platform/linux/GlibMainQueue.h"
#include "platform/linux/ThreadPool.h"
#include "platform/linux/ThreadPoolQueues.h"
#include "platform/posix/QuietThread.h"
#include "platform/testing/ManualScheduler.h"
#include "tests/platform/services/QueueContract.h"
#include "tests/platform/services/ThreadCosts.h"

#include <glib.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <future>
#include <string_view>
#include <system_error>

namespace {

using platform::QualityOfService;
using platform::ThreadPoolQueues;

class GlibHarness final : public MainQueueHarness {
  public:
    platform::MainQueue& queue() override { return queue_; }
    platform::SteadyTime now() const override { return std::chrono::steady_clock::now(); }
    void runUntil(const std::function<bool()>& condition) override {
        while (!condition()) {
            ::g_main_context_iteration(nullptr, TRUE);
        }
    }

  private:
    platform::desktop::GlibMainQueue queue_;
};

class ManualHarness final : public MainQueueHarness {
  public:
    platform::MainQueue& queue() override { return scheduler_.mainQueue(); }
    platform::SteadyTime now() const override {
        return const_cast<platform::testing::ManualScheduler&>(scheduler_).clock().now();
    }
    void runUntil(const std::function<bool()>& condition) override {
        while (!condition()) {
            scheduler_.advance(std::chrono::microseconds(100));
        }
    }

  private:
    platform::testing::ManualScheduler scheduler_;
};

std::unique_ptr<MainQueueHarness> glib() {
    return std::make_unique<GlibHarness>();
}
std::unique_ptr<MainQueueHarness> manual() {
    return std::make_unique<ManualHarness>();
}
std::unique_ptr<platform::BackgroundQueues> pool() {
    return std::make_unique<ThreadPoolQueues>();
}

INSTANTIATE_TEST_SUITE_P(Glib, MainQueueContract, testing::Values(glib));
INSTANTIATE_TEST_SUITE_P(Glib, MainQueueThreadContract, testing::Values(glib));
INSTANTIATE_TEST_SUITE_P(Manual, MainQueueContract, testing::Values(manual));
INSTANTIATE_TEST_SUITE_P(ThreadPool, BackgroundQueuesContract, testing::Values(pool));

// Tasks that wait until they are let go.
class Blockers {
  public:
    explicit Blockers(std::size_t number)
        : arrived(static_cast<std::ptrdiff_t>(number) + 1) {}

    platform::Task task() {
        return [this] {
            arrived.arrive_and_wait();
            gate.wait(false);
        };
    }
    void waitUntilAllBlock() { arrived.arrive_and_wait(); }
    void release() {
        gate = true;
        gate.notify_all();
    }

  private:
    std::barrier<> arrived;
    std::atomic<bool> gate = false;
};

TEST(ThreadPoolQueues, blockedTasksOfOneClassDoNotStarveTheOther) {
    for (const auto blockedClass : {QualityOfService::utility, QualityOfService::userInitiated}) {
        const auto other = blockedClass == QualityOfService::utility
                               ? QualityOfService::userInitiated
                               : QualityOfService::utility;
        Blockers blockers(12);
        std::atomic<int> later = 0;
        ThreadPoolQueues queues;
        for (int i = 0; i < 12; ++i) {
            queues.global(blockedClass).post(blockers.task());
        }
        for (int i = 0; i < 50; ++i) { // more than the bound: these wait
            queues.global(blockedClass).post([&later] { ++later; });
        }
        blockers.waitUntilAllBlock();

        std::promise<void> ran;
        queues.global(other).post([&ran] { ran.set_value(); });
        ran.get_future().get();

        EXPECT_EQ(later, 0);
        EXPECT_LE(queues.workerCount(), 16U);
        std::promise<void> last;
        queues.global(blockedClass).post([&last] { last.set_value(); });
        blockers.release();
        last.get_future().get();
    }
}

TEST(ThreadPoolQueues, usesAWorkerAgain) {
    ThreadPoolQueues queues;
    for (int i = 0; i < 1000; ++i) {
        std::promise<void> ran;
        queues.global(QualityOfService::utility).post([&ran] { ran.set_value(); });
        ran.get_future().get();
    }
    // On a busy machine some workers are late to be free again; a pool that never used one twice
    // would have all sixteen.
    EXPECT_LT(queues.workerCount(), 16U);
}

TEST(ThreadPoolQueues, workersLeaveWhenThereIsNothingToDo) {
    ThreadPoolQueues queues(std::chrono::milliseconds(1));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (int round = 0; round < 3; ++round) {
        Blockers blockers(8);
        for (int i = 0; i < 8; ++i) {
            queues.global(QualityOfService::utility).post(blockers.task());
        }
        blockers.waitUntilAllBlock();
        EXPECT_GE(queues.workerCount(), 8U);
        blockers.release();
        while (queues.workerCount() > 0 && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        EXPECT_EQ(queues.workerCount(), 0U);
    }
}

TEST(ThreadPoolQueues, timersShareOneThreadThatSleeps) {
    const auto before = threadIds();
    ThreadPoolQueues queues;
    for (int i = 0; i < 1000; ++i) {
        queues.global(QualityOfService::utility).postAfter(std::chrono::hours(1 + i % 7), [] {});
    }

    EXPECT_EQ(threadIds().size(), before.size() + 1);
    const auto timers = waitForThreadNamed("timers", before);
    ASSERT_TRUE(timers);
    ASSERT_TRUE(waitUntilAsleep(*timers));
    const auto switches = contextSwitches(*timers);
    std::this_thread::sleep_for(std::chrono::milliseconds(200)); // nothing to wait for: that is it
    EXPECT_LE(contextSwitches(*timers), switches + 1); // the last of the thousand notices it got
}

TEST(ThreadPoolQueues, idleQueuesHaveNoThread) {
    const auto before = threadIds();
    ThreadPoolQueues queues;
    const auto serial = queues.makeSerial("idle", QualityOfService::utility);
    EXPECT_EQ(threadIds(), before);
}

// True once the queue, whose only task runs this, takes no tasks any more: then what is posted is
// destroyed at once instead of waiting for its turn.
bool isClosed(platform::Queue& busySerialQueue) {
    auto probe = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = probe;
    busySerialQueue.post([own = std::move(probe)] { EXPECT_EQ(*own, 1); });
    return watched.expired();
}

TEST(ThreadPoolQueues, theDestructorWaitsForTheRunningTaskAndDestroysTheOthersUnrun) {
    std::atomic<int> ran = 0;
    std::atomic<bool> finished = false;
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = owned;
    auto queues = std::make_unique<ThreadPoolQueues>();
    const auto serial = queues->makeSerial("leftovers", QualityOfService::utility);
    std::promise<void> started;
    serial->post([&] {
        started.set_value();
        while (!isClosed(*serial)) {
            std::this_thread::yield();
        }
        finished = true;
    });
    for (int i = 0; i < 100; ++i) {
        serial->post([&ran, owned] { ran += *owned; });
        serial->postAfter(std::chrono::hours(1), [&ran, owned] { ran += *owned; });
        queues->global(QualityOfService::utility).postAfter(std::chrono::hours(1), [&ran, owned] {
            ran += *owned;
        });
    }
    owned.reset();
    started.get_future().get();

    queues.reset();

    EXPECT_TRUE(finished);
    EXPECT_EQ(ran, 0);
    EXPECT_TRUE(watched.expired());
}

TEST(ThreadPoolQueues, aSerialQueueThatOutlivesThemDropsItsTasks) {
    auto queues = std::make_unique<ThreadPoolQueues>();
    const auto serial = queues->makeSerial("survivor", QualityOfService::utility);
    queues.reset();
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = owned;
    serial->post([own = owned] { FAIL() << *own; });
    serial->postAfter(std::chrono::nanoseconds(1), [own = std::move(owned)] { FAIL() << *own; });
    EXPECT_TRUE(watched.expired());
}

TEST(ThreadPoolQueues, aTaskThatOwnsItsQueueIsNoLeakWhenTheQueuesEnd) {
    std::weak_ptr<platform::Queue> watched;
    {
        ThreadPoolQueues queues;
        std::shared_ptr<platform::Queue> serial =
            queues.makeSerial("cycle", QualityOfService::utility);
        watched = serial;
        serial->postAfter(std::chrono::hours(1), [serial] {});
        serial.reset();
    }
    EXPECT_TRUE(watched.expired());
}

TEST(ThreadPoolQueues, aTaskThatThrowsEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            ThreadPoolQueues queues;
            std::promise<void> never;
            queues.global(QualityOfService::utility).post([] { throw std::runtime_error("oops"); });
            never.get_future().get();
        },
        "oops");
}

TEST(ThreadPoolQueues, runNothingMoreOnceTheyHaveFinished) {
    ThreadPoolQueues queues;
    const auto serial = queues.makeSerial("serial", QualityOfService::utility);
    std::promise<void> started;
    std::atomic<bool> ended = false;
    queues.global(QualityOfService::utility).post([&] {
        started.set_value();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        ended = true;
    });
    started.get_future().get();
    queues.finish();
    EXPECT_TRUE(ended);
    const auto unused = std::make_shared<int>(1);
    for (platform::Queue* queue : {&queues.global(QualityOfService::userInitiated), serial.get()}) {
        queue->post([unused] { ADD_FAILURE() << *unused; });
        queue->postAfter(std::chrono::milliseconds(1), [unused] { ADD_FAILURE() << *unused; });
    }
    EXPECT_EQ(unused.use_count(), 1) << "destroyed at once";
    EXPECT_EQ(queues.workerCount(), 0U);
}

// Gives a thread after so many refusals, whatever it is for.
platform::posix::StartThread refusing(int times) {
    return [left = std::make_shared<std::atomic<int>>(times)](const char* name,
                                                              std::function<void()> body) {
        if ((*left)-- > 0) {
            throw std::system_error(EAGAIN, std::generic_category());
        }
        return platform::posix::startQuietThread(name, std::move(body));
    };
}

// Bounded, since nothing would ever fulfil a promise whose task is lost.
bool isFulfilled(std::future<void> future) {
    return future.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
}

TEST(ThreadPool, triesAgainForATaskThatNoThreadCouldBeHadFor) {
    platform::ThreadPool pool(std::chrono::seconds(5),
                              [refused = 0](const char* name, std::function<void()> body) mutable {
                                  // The timers' thread comes at once, the first two workers do not.
                                  if (std::string_view(name) == "worker" && refused++ < 2) {
                                      throw std::system_error(EAGAIN, std::generic_category());
                                  }
                                  return platform::posix::startQuietThread(name, std::move(body));
                              });
    std::promise<void> ran;
    pool.add(QualityOfService::utility, [&ran] { ran.set_value(); });
    EXPECT_TRUE(isFulfilled(ran.get_future()));
}

TEST(ThreadPool, keepsTasksAndTimersWhileThereIsNoThreadAtAll) {
    platform::ThreadPool pool(std::chrono::seconds(5), refusing(5));
    std::promise<void> task;
    std::promise<void> timer;
    std::promise<void> later;
    pool.add(QualityOfService::utility, [&task] { task.set_value(); });
    pool.addTimer(std::chrono::steady_clock::now(), [&timer] { timer.set_value(); });
    EXPECT_EQ(pool.workerCount(), 0U);
    for (int i = 0; i < 2; ++i) {
        pool.add(QualityOfService::utility, [] {});
    }
    pool.add(QualityOfService::utility, [&later] { later.set_value(); });
    EXPECT_TRUE(isFulfilled(task.get_future()));
    EXPECT_TRUE(isFulfilled(timer.get_future()));
    EXPECT_TRUE(isFulfilled(later.get_future()));
}

TEST(QuietThread, leavesSignalsToOthersAndTheCallersMaskAlone) {
    sigset_t before;
    sigset_t inside;
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    auto thread = platform::posix::startQuietThread(
        "quiet", [&inside] { pthread_sigmask(SIG_SETMASK, nullptr, &inside); });
    thread.join();
    pthread_sigmask(SIG_SETMASK, nullptr, &after);

    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGPIPE, SIGCHLD, SIGUSR1, SIGALRM}) {
        EXPECT_EQ(sigismember(&inside, signal), 1) << signal;
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
    }
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        EXPECT_EQ(sigismember(&inside, fault), 0) << fault;
    }
}

} // namespace
