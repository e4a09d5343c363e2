#include "ostrad/WriteTurn.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

namespace ostrad {
namespace {

TEST(WriteTurn, letsARequestIntoALongRowOfBatches) {
    WriteTurn turn;
    std::atomic<bool> done = false;
    std::atomic<int> writers = 0;
    std::atomic<int> most = 0;
    const auto enter = [&] {
        most = std::max(most.load(), ++writers);
        --writers;
    };
    std::thread scan([&] {
        while (!done) {
            const WriteTurn::Batch batch(turn);
            enter();
        }
    });
    for (int i = 0; i < 200; ++i) {
        const auto held = turn.request();
        enter();
    }
    done = true;
    scan.join();
    EXPECT_EQ(most, 1);
}

TEST(WriteTurn, makesARequestWaitForTheBatchThatHasBegun) {
    WriteTurn turn;
    std::atomic<bool> entered = false;
    std::optional<WriteTurn::Batch> batch(std::in_place, turn);
    std::thread request([&] {
        const auto held = turn.request();
        entered = true;
    });
    EXPECT_FALSE(entered);
    batch.reset();
    request.join();
    EXPECT_TRUE(entered);
}

} // namespace
} // namespace ostrad
