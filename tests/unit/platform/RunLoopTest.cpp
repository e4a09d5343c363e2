#include "platform/RunLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;
using platform::RunLoop;

TEST(RunLoop, runsTasksInTheOrderOfPostingOnItsOwnThread) {
    RunLoop loop;
    std::string order;
    for (const char name : {'a', 'b', 'c'}) {
        loop.post([&order, &loop, name] {
            EXPECT_TRUE(loop.isMainThread());
            order += name;
        });
    }
    loop.runUntil([&] { return order.size() == 3; });
    EXPECT_EQ(order, "abc");
}

TEST(RunLoop, takesTasksFromOtherThreadsAndFromItsOwn) {
    RunLoop loop;
    bool isDone = false;
    std::thread other([&] {
        EXPECT_FALSE(loop.isMainThread());
        loop.post([&] { loop.post([&] { isDone = true; }); });
    });
    loop.runUntil([&] { return isDone; });
    other.join();
    EXPECT_TRUE(isDone);
}

TEST(RunLoop, runsNothingBeforeItsDelayIsOver) {
    RunLoop loop;
    const auto begun = std::chrono::steady_clock::now();
    std::string order;
    loop.postAfter(40ms, [&] { order += 'b'; });
    loop.postAfter(1ms, [&] { order += 'a'; });
    loop.runUntil([&] { return order.size() == 2; });
    EXPECT_EQ(order, "ab");
    EXPECT_GE(std::chrono::steady_clock::now() - begun, 40ms);
}

TEST(RunLoop, looksAtItsConditionWithoutAnyTask) {
    RunLoop loop;
    int looks = 0;
    loop.runUntil([&] { return ++looks == 3; });
    EXPECT_EQ(looks, 3);
}

TEST(RunLoop, runsNothingOnceTheConditionHolds) {
    RunLoop loop;
    bool hasRun = false;
    loop.post([&] { hasRun = true; });
    loop.runUntil([] { return true; });
    EXPECT_FALSE(hasRun);
}

} // namespace
