// What GlibMainQueue promises beyond the contract of every main queue (which it keeps in
// tests/platform/services). Needs no display.
#include "platform/linux/GlibMainQueue.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using platform::desktop::GlibMainQueue;

TEST(GlibMainQueue, letsOtherSourcesRunBetweenRoundsOfTasksThatPostTasks) {
    GlibMainQueue queue;
    bool otherRan = false;
    std::function<void()> again = [&] {
        if (!otherRan) {
            queue.post(again);
        }
    };
    queue.post(again);
    g_timeout_add(
        1,
        [](gpointer ran) -> gboolean {
            *static_cast<bool*>(ran) = true;
            return G_SOURCE_REMOVE;
        },
        &otherRan);
    while (!otherRan) {
        g_main_context_iteration(nullptr, TRUE);
    }
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

TEST(GlibMainQueue, holdsOtherTasksBackWhileOneRunsANestedLoop) {
    GlibMainQueue queue;
    std::string order;
    queue.post([&] {
        order += "(";
        for (int round = 0; round < 10; ++round) {
            g_main_context_iteration(nullptr, FALSE);
        }
        order += ")";
    });
    queue.post([&] { order += "later"; });
    while (order.size() < 7) {
        g_main_context_iteration(nullptr, TRUE);
    }
    EXPECT_EQ(order, "()later");
}

TEST(GlibMainQueue, hasNothingToDoWhileItIsEmpty) {
    const GlibMainQueue queue;
    EXPECT_EQ(g_main_context_pending(nullptr), FALSE);
}

TEST(GlibMainQueue, destroysTheTasksThatHaveNotRun) {
    const auto owned = std::make_shared<int>(1);
    {
        GlibMainQueue queue;
        queue.post([owned] { FAIL(); });
        queue.postAfter(std::chrono::hours(1), [owned] { FAIL(); });
        EXPECT_EQ(owned.use_count(), 3);
    }
    EXPECT_EQ(owned.use_count(), 1);
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

TEST(GlibMainQueue, mayBeDestroyedByOneOfItsTasks) {
    auto queue = std::make_unique<GlibMainQueue>();
    bool later = false;
    queue->post([&] { queue.reset(); });
    queue->post([&] { later = true; });
    while (queue) {
        g_main_context_iteration(nullptr, TRUE);
    }
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    EXPECT_FALSE(later);
}

TEST(GlibMainQueueDeathTest, endsTheProcessWhenATaskThrows) {
    GlibMainQueue queue;
    queue.post([] { throw std::runtime_error("a task threw"); });
    EXPECT_DEATH(g_main_context_iteration(nullptr, TRUE), "a task threw");
}

} // namespace
