// Time and every queue in one hand, on one thread. Nothing runs by itself: advance() moves the
// clock and runs what has become due, in order of due time and then of posting, with the clock
// standing at each task's due time. Tasks of the main queue see isMainThread() true, those of the
// background queues false; a test itself counts as the main thread. For tests; one thread only.
#pragma once

#include "platform/Clock.h"
#include "platform/Queues.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace platform::testing {

class ManualScheduler {
  public:
    ManualScheduler();
    ~ManualScheduler();
    ManualScheduler(const ManualScheduler&) = delete;
    ManualScheduler& operator=(const ManualScheduler&) = delete;

    [[nodiscard]] Clock& clock() { return clock_; }
    [[nodiscard]] MainQueue& mainQueue() { return *main_; }
    [[nodiscard]] BackgroundQueues& backgroundQueues() { return *background_; }

    // Runs what is due now, and what that posts without a delay.
    void runReady() { advance(std::chrono::nanoseconds{0}); }
    void advance(std::chrono::nanoseconds duration);
    // Lets time pass without running anything, as a call that blocks its thread does.
    void passTime(std::chrono::nanoseconds duration) { clock_.now_ += duration; }
    // Runs the rest of a test as if on a background thread.
    void leaveMainThread() { onMainThread_ = false; }

    [[nodiscard]] std::size_t pendingTasks() const { return tasks_.size(); }
    void schedule(std::chrono::nanoseconds delay, bool onMain, Task task);

  private:
    struct ManualClock final : Clock {
        [[nodiscard]] SteadyTime now() const override { return now_; }
        [[nodiscard]] WallTime wallNow() const override;
        SteadyTime now_{std::chrono::hours(1000)};
    };
    class Main;
    class Background;
    struct Entry {
        bool onMain = false;
        Task task;
    };

    ManualClock clock_;
    std::unique_ptr<MainQueue> main_;
    std::unique_ptr<BackgroundQueues> background_;
    std::map<std::pair<SteadyTime, std::uint64_t>, Entry> tasks_;
    std::uint64_t posted_ = 0;
    bool onMainThread_ = true;
};

} // namespace platform::testing
