// A main queue for a program without a toolkit: tasks run on the thread that made it, while that
// thread is in runUntil(). Tasks that are left when the loop goes are dropped. Whoever posts must
// not outlive the loop.
#pragma once

#include "platform/Queues.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace platform {

class RunLoop final : public MainQueue {
  public:
    RunLoop() = default;
    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;

    // As Queues.h says.
    void post(Task task) override { postAfter({}, std::move(task)); }
    void postAfter(std::chrono::nanoseconds delay, Task task) override;
    [[nodiscard]] bool isMainThread() const override {
        return std::this_thread::get_id() == thread_;
    }

    // Runs tasks until the condition holds, which is looked at before each task and at least about
    // every 100 ms. Only on the thread that made the loop.
    void runUntil(const std::function<bool()>& condition);

  private:
    using Time = std::chrono::steady_clock::time_point;

    [[nodiscard]] Task nextDue();

    const std::thread::id thread_ = std::this_thread::get_id();
    std::mutex mutex_;
    std::condition_variable posted_;
    std::multimap<Time, Task> tasks_; // those of one moment in the order of posting
};

} // namespace platform
