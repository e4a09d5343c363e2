// What every main queue and every set of background queues promises. A main queue takes part
// through a harness that runs its loop on the test's thread:
//
//     INSTANTIATE_TEST_SUITE_P(Glib, MainQueueContract, testing::Values(makeGlibHarness));
//     INSTANTIATE_TEST_SUITE_P(Glib, MainQueueThreadContract, testing::Values(makeGlibHarness));
//
// The second suite posts from other threads; fakes that live on one thread leave it out.
// Background queues take part with a factory and BackgroundQueuesContract. Include it in one
// source file of an executable.
#pragma once

#include "platform/Clock.h"
#include "platform/Queues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class MainQueueHarness {
  public:
    virtual ~MainQueueHarness() = default;

    [[nodiscard]] virtual platform::MainQueue& queue() = 0;
    // The clock that the queue's delays are measured on.
    [[nodiscard]] virtual platform::SteadyTime now() const = 0;
    // Runs the loop until a task has made the condition true.
    virtual void runUntil(const std::function<bool()>& condition) = 0;
};

using MainQueueHarnessFactory = std::function<std::unique_ptr<MainQueueHarness>()>;

class MainQueueContract : public testing::TestWithParam<MainQueueHarnessFactory> {
  protected:
    std::unique_ptr<MainQueueHarness> harness = GetParam()();
    platform::MainQueue& queue = harness->queue();
};

class MainQueueThreadContract : public MainQueueContract {};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(MainQueueContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(MainQueueThreadContract);

TEST_P(MainQueueContract, runsTasksInTheOrderOfPosting) {
    std::vector<int> ran;
    for (int i = 0; i < 1000; ++i) {
        queue.post([&ran, i] { ran.push_back(i); });
    }
    EXPECT_TRUE(ran.empty()) << "post ran a task itself";

    harness->runUntil([&ran] { return ran.size() >= 1000; });

    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(ran[static_cast<std::size_t>(i)], i);
    }
    EXPECT_EQ(ran.size(), 1000U);
}

TEST_P(MainQueueContract, runsATaskPostedByATaskAfterThoseAlreadyWaiting) {
    std::string order;
    queue.post([&] {
        order += "a";
        queue.post([&] { order += "c"; });
        order += "A";
    });
    queue.post([&] { order += "b"; });

    harness->runUntil([&] { return order.size() == 4; });

    EXPECT_EQ(order, "aAbc");
}

TEST_P(MainQueueContract, knowsItsThread) {
    EXPECT_TRUE(queue.isMainThread());
    bool inTask = false;
    queue.post([&] { inTask = queue.isMainThread(); });

    harness->runUntil([&] { return inTask; });

    EXPECT_TRUE(inTask);
}

TEST_P(MainQueueContract, neverRunsADelayedTaskEarly) {
    for (const auto delay : {std::chrono::nanoseconds(1), std::chrono::nanoseconds(999'999),
                             std::chrono::nanoseconds(20'000'001)}) {
        const auto posted = harness->now();
        std::optional<platform::SteadyTime> ran;
        queue.postAfter(delay, [&] { ran = harness->now(); });
        EXPECT_FALSE(ran);
        harness->runUntil([&] { return ran.has_value(); });
        EXPECT_GE(*ran - posted, delay);
    }
}

TEST_P(MainQueueContract, runsDelayedTasksInTheOrderOfTheirTimes) {
    std::string order;
    queue.postAfter(std::chrono::milliseconds(60), [&] { order += "c"; });
    queue.postAfter(std::chrono::milliseconds(1), [&] { order += "a"; });
    queue.postAfter(std::chrono::milliseconds(30), [&] { order += "b"; });

    harness->runUntil([&] { return order.size() == 3; });

    EXPECT_EQ(order, "abc");
}

TEST_P(MainQueueContract, runsATaskWithoutADelayInItsTurn) {
    std::string order;
    queue.post([&] { order += "a"; });
    queue.postAfter(std::chrono::nanoseconds(0), [&] { order += "b"; });
    queue.post([&] { order += "c"; });
    queue.postAfter(std::chrono::seconds(-5), [&] { order += "d"; });
    queue.post([&] { order += "e"; });

    harness->runUntil([&] { return order.size() == 5; });

    EXPECT_EQ(order, "abcde");
}

TEST_P(MainQueueContract, takesADelayThatIsOverAndOneThatNeverEnds) {
    int ran = 0;
    queue.postAfter(std::chrono::nanoseconds::max(), [&] { ran += 1000; });
    queue.postAfter(std::chrono::nanoseconds(0), [&] { ++ran; });
    queue.postAfter(std::chrono::seconds(-5), [&] { ++ran; });

    harness->runUntil([&] { return ran >= 2; });

    EXPECT_EQ(ran, 2);
}

TEST_P(MainQueueContract, destroysATaskOnceItHasRun) {
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = owned;
    bool later = false;
    queue.post([own = std::move(owned)] { EXPECT_EQ(*own, 1); });
    queue.post([&] {
        EXPECT_TRUE(watched.expired());
        later = true;
    });

    harness->runUntil([&] { return later; });
}

TEST_P(MainQueueThreadContract, keepsTheOrderOfEachThreadAndRunsEachTaskOnce) {
    constexpr std::size_t threads = 4;
    constexpr int each = 500;
    std::vector<std::vector<int>> ran(threads);
    std::size_t total = 0;
    std::vector<std::thread> posting;
    for (std::size_t t = 0; t < threads; ++t) {
        posting.emplace_back([&, t] {
            EXPECT_FALSE(queue.isMainThread());
            for (int i = 0; i < each; ++i) {
                queue.post([&, t, i] {
                    EXPECT_TRUE(queue.isMainThread());
                    ran[t].push_back(i);
                    ++total;
                });
            }
        });
    }

    harness->runUntil([&] { return total == threads * each; });
    for (auto& thread : posting) {
        thread.join();
    }

    for (const auto& order : ran) {
        EXPECT_EQ(order.size(), static_cast<std::size_t>(each));
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    }
}

TEST_P(MainQueueThreadContract, wakesALoopThatSleeps) {
    bool ran = false;
    std::thread other([&] {
        queue.postAfter(std::chrono::milliseconds(5), [&] { queue.post([&] { ran = true; }); });
    });

    harness->runUntil([&] { return ran; });

    other.join();
    EXPECT_TRUE(ran);
}

using BackgroundQueuesFactory = std::function<std::unique_ptr<platform::BackgroundQueues>()>;

class BackgroundQueuesContract : public testing::TestWithParam<BackgroundQueuesFactory> {
  protected:
    using Quality = platform::QualityOfService;

    // Outlives the queues: their tasks still use it while they are being destroyed.
    std::atomic<int> count = 0;
    std::unique_ptr<platform::BackgroundQueues> queues = GetParam()();
};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(BackgroundQueuesContract);

TEST_P(BackgroundQueuesContract, aGlobalQueueRunsItsTasksAtTheSameTime) {
    for (const auto quality : {Quality::userInitiated, Quality::utility}) {
        std::barrier together(4);
        std::vector<std::future<void>> done;
        for (int i = 0; i < 4; ++i) {
            auto promise = std::make_shared<std::promise<void>>();
            done.push_back(promise->get_future());
            queues->global(quality).post([&together, promise] {
                together.arrive_and_wait(); // passes only when four tasks are here
                promise->set_value();
            });
        }
        for (auto& one : done) {
            one.get();
        }
    }
}

TEST_P(BackgroundQueuesContract, runsEachOfManyTasksOnceAndNeverOnThePostingThread) {
    std::promise<void> all;
    const auto here = std::this_thread::get_id();
    constexpr int tasks = 5000;
    for (int i = 0; i < tasks; ++i) {
        queues->global(i % 2 == 0 ? Quality::utility : Quality::userInitiated).post([&] {
            EXPECT_NE(std::this_thread::get_id(), here);
            if (++count == tasks) {
                all.set_value();
            }
        });
    }
    all.get_future().get();
    queues.reset();
    EXPECT_EQ(count, tasks);
}

TEST_P(BackgroundQueuesContract, aSerialQueueRunsOneTaskAtATimeInOrder) {
    const auto serial = queues->makeSerial("contract", Quality::utility);
    std::vector<int> order; // not locked: the thread sanitizer watches too
    std::promise<void> all;
    for (int i = 0; i < 2000; ++i) {
        serial->post([&, i] {
            order.push_back(i);
            if (i == 1999) {
                all.set_value();
            }
        });
    }
    all.get_future().get();
    EXPECT_EQ(order.size(), 2000U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST_P(BackgroundQueuesContract, serialQueuesDoNotWaitForEachOther) {
    const auto first = queues->makeSerial("first", Quality::userInitiated);
    const auto second = queues->makeSerial("second", Quality::userInitiated);
    std::promise<void> passed;
    std::promise<void> done;
    first->post([&] {
        passed.get_future().get();
        done.set_value();
    });
    second->post([&] { passed.set_value(); });
    done.get_future().get();
}

TEST_P(BackgroundQueuesContract, tasksOfASerialQueueRunAfterTheQueueObjectIsGone) {
    auto serial = queues->makeSerial("short-lived", Quality::utility);
    std::promise<void> release;
    std::promise<void> all;
    serial->post([&] { release.get_future().get(); });
    serial->post([&] { ++count; });
    serial->postAfter(std::chrono::milliseconds(5), [&] {
        ++count;
        all.set_value();
    });
    serial.reset();
    release.set_value();
    all.get_future().get();
    EXPECT_EQ(count, 2);
}

TEST_P(BackgroundQueuesContract, neverRunsADelayedTaskEarly) {
    const auto serial = queues->makeSerial("delays", Quality::utility);
    for (auto* queue : {&queues->global(Quality::userInitiated), serial.get()}) {
        for (const auto delay :
             {std::chrono::nanoseconds(1), std::chrono::nanoseconds(15'000'001)}) {
            std::promise<platform::SteadyTime> ran;
            const auto posted = std::chrono::steady_clock::now();
            queue->postAfter(delay, [&] { ran.set_value(std::chrono::steady_clock::now()); });
            EXPECT_GE(ran.get_future().get() - posted, delay);
        }
    }
}

TEST_P(BackgroundQueuesContract, aLongDelayDoesNotHoldUpAShorterOne) {
    auto& queue = queues->global(Quality::utility);
    std::promise<void> done;
    queue.postAfter(std::chrono::nanoseconds::max(), [&] { count += 1000; });
    queue.postAfter(std::chrono::hours(1), [&] { count += 1000; });
    queue.postAfter(std::chrono::milliseconds(10), [&] { ++count; });
    queue.postAfter(std::chrono::milliseconds(20), [&] { done.set_value(); });
    queue.postAfter(std::chrono::seconds(-1), [&] { ++count; });
    done.get_future().get();
    queues.reset();
    EXPECT_EQ(count, 2);
}

TEST_P(BackgroundQueuesContract, takesPostsFromInsideATask) {
    const auto serial = queues->makeSerial("nested", Quality::utility);
    std::promise<void> done;
    std::string order;
    serial->post([&] {
        order += "a";
        serial->post([&] {
            order += "b";
            queues->global(Quality::userInitiated).post([&] { done.set_value(); });
        });
        order += "A";
    });
    done.get_future().get();
    EXPECT_EQ(order, "aAb");
}

TEST_P(BackgroundQueuesContract, destroysATaskBeforeTheNextOneOfASerialQueue) {
    const auto serial = queues->makeSerial("owners", Quality::utility);
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = owned;
    std::promise<bool> expired;
    serial->post([own = std::move(owned)] { EXPECT_EQ(*own, 1); });
    serial->post([&] { expired.set_value(watched.expired()); });
    EXPECT_TRUE(expired.get_future().get());
}
