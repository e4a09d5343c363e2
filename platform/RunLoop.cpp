#include "platform/RunLoop.h"

#include <algorithm>
#include <utility>

namespace platform {

void RunLoop::postAfter(std::chrono::nanoseconds delay, Task task) {
    const std::scoped_lock lock(mutex_);
    tasks_.emplace(std::chrono::steady_clock::now() + delay, std::move(task));
    posted_.notify_one();
}

Task RunLoop::nextDue() {
    constexpr std::chrono::milliseconds longestWait{100};
    std::unique_lock lock(mutex_);
    const auto now = std::chrono::steady_clock::now();
    if (tasks_.empty() || tasks_.begin()->first > now) {
        const auto next = tasks_.empty() ? now + longestWait : tasks_.begin()->first;
        posted_.wait_until(lock, std::min(next, now + longestWait));
    }
    if (tasks_.empty() || tasks_.begin()->first > std::chrono::steady_clock::now()) {
        return {};
    }
    return std::move(tasks_.extract(tasks_.begin()).mapped());
}

void RunLoop::runUntil(const std::function<bool()>& condition) {
    while (!condition()) {
        if (const auto task = nextDue()) {
            task();
        }
    }
}

} // namespace platform
