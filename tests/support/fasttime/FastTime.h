// Real threads and real waiting, with a clock that runs faster than the world's: for tests in which
// real processes meet the product's own seconds. A main queue that the test's thread pumps, and
// background queues with threads of their own; delays shrink by the factor, and a task still never
// runs before its delay is over on this clock. The thread that makes the object is the main thread.
#pragma once

#include "platform/Clock.h"
#include "platform/Queues.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

namespace test_support {

class FastTime {
  public:
    explicit FastTime(int factor);
    // Ends the background threads; tasks that have not started are dropped.
    ~FastTime();
    FastTime(const FastTime&) = delete;
    FastTime& operator=(const FastTime&) = delete;

    [[nodiscard]] platform::Clock& clock();
    [[nodiscard]] platform::MainQueue& mainQueue();
    [[nodiscard]] platform::BackgroundQueues& backgroundQueues();

    // Runs main-queue tasks until the condition holds; false when it did not within 20 s of the
    // world's time. The condition is looked at after every task and every few milliseconds.
    [[nodiscard]] bool runUntil(const std::function<bool()>& condition);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace test_support
