// A main queue for a program in a terminal: tasks run on the thread that made it, while it is in
// runUntil(). Ctrl-C (SIGINT) and SIGTERM are caught while a loop exists and end no process; there
// is one loop at a time.
#pragma once

#include "platform/Queues.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace tool {

class TerminalLoop final : public platform::MainQueue {
  public:
    TerminalLoop();
    ~TerminalLoop() override;
    TerminalLoop(const TerminalLoop&) = delete;
    TerminalLoop& operator=(const TerminalLoop&) = delete;

    void post(platform::Task task) override { postAfter({}, std::move(task)); }
    void postAfter(std::chrono::nanoseconds delay, platform::Task task) override;
    [[nodiscard]] bool isMainThread() const override {
        return std::this_thread::get_id() == thread_;
    }

    // Runs tasks until the condition holds, and `tick` about every 100 ms. False when a signal
    // came first.
    bool runUntil(const std::function<bool()>& condition, const std::function<void()>& tick);

  private:
    using Time = std::chrono::steady_clock::time_point;

    [[nodiscard]] platform::Task nextDue();

    std::thread::id thread_ = std::this_thread::get_id();
    std::mutex mutex_;
    std::condition_variable posted_;
    std::multimap<Time, platform::Task> tasks_;
    void (*interruptBefore_)(int);
    void (*terminateBefore_)(int);
};

} // namespace tool
