#include "mac/Zorvane/WaitingLoop.h"

#include <utility>

namespace zorvane {
namespace {

constexpr std::chrono::milliseconds glance{5}; // how long nothing but a posted task is noticed

} // namespace

void WaitingLoop::postAfter(std::chrono::nanoseconds delay, platform::Task task) {
    const auto due = clock_.now() + delay;
    const std::lock_guard lock(mutex_);
    tasks_.emplace(due, std::move(task));
    posted_.notify_one();
}

platform::Task WaitingLoop::takeDue() {
    const auto now = clock_.now();
    std::unique_lock lock(mutex_);
    if (tasks_.empty() || tasks_.begin()->first > now) {
        posted_.wait_for(lock, glance);
        return {};
    }
    return std::move(tasks_.extract(tasks_.begin()).mapped());
}

bool WaitingLoop::runUntil(const std::function<bool()>& condition, std::chrono::nanoseconds limit) {
    const auto end = clock_.now() + limit;
    while (!condition()) {
        if (clock_.now() >= end) {
            return false;
        }
        if (const auto task = takeDue()) {
            task();
        }
    }
    return true;
}

} // namespace zorvane
