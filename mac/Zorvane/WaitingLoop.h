// A main queue for a run without a user interface: tasks run on the thread that made it, in the
// order they become due, while that thread is in runUntil(). Delays are measured on the clock it is
// given.
#pragma once

#include "platform/Clock.h"
#include "platform/Queues.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace zorvane {

class WaitingLoop final : public platform::MainQueue {
  public:
    explicit WaitingLoop(const platform::Clock& clock)
        : clock_(clock) {}

    void post(platform::Task task) override { postAfter({}, std::move(task)); }
    void postAfter(std::chrono::nanoseconds delay, platform::Task task) override;
    [[nodiscard]] bool isMainThread() const override {
        return std::this_thread::get_id() == thread_;
    }

    // Runs tasks until the condition holds, and returns true; false when the time was over first.
    // The condition is looked at after each task and every few milliseconds.
    bool runUntil(const std::function<bool()>& condition, std::chrono::nanoseconds limit);

  private:
    [[nodiscard]] platform::Task takeDue();

    const platform::Clock& clock_;
    const std::thread::id thread_ = std::this_thread::get_id();
    std::mutex mutex_;
    std::condition_variable posted_;
    std::multimap<platform::SteadyTime, platform::Task> tasks_;
};

} // namespace zorvane
