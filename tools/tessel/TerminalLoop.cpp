#include "tools/tessel/TerminalLoop.h"

#include <csignal>
#include <utility>

namespace tool {
namespace {

volatile std::sig_atomic_t stopAsked = 0;

void askToStop(int /*signal*/) {
    stopAsked = 1;
}

} // namespace

TerminalLoop::TerminalLoop()
    : interruptBefore_(std::signal(SIGINT, askToStop))
    , terminateBefore_(std::signal(SIGTERM, askToStop)) {
    stopAsked = 0;
}

TerminalLoop::~TerminalLoop() {
    std::signal(SIGINT, interruptBefore_);
    std::signal(SIGTERM, terminateBefore_);
}

void TerminalLoop::postAfter(std::chrono::nanoseconds delay, platform::Task task) {
    const std::scoped_lock lock(mutex_);
    tasks_.emplace(std::chrono::steady_clock::now() + delay, std::move(task));
    posted_.notify_one();
}

platform::Task TerminalLoop::nextDue() {
    constexpr std::chrono::milliseconds betweenTicks{100};
    std::unique_lock lock(mutex_);
    const auto now = std::chrono::steady_clock::now();
    if (tasks_.empty() || tasks_.begin()->first > now) {
        posted_.wait_until(lock, now + betweenTicks);
    }
    if (tasks_.empty() || tasks_.begin()->first > std::chrono::steady_clock::now()) {
        return {};
    }
    return std::move(tasks_.extract(tasks_.begin()).mapped());
}

bool TerminalLoop::runUntil(const std::function<bool()>& condition,
                            const std::function<void()>& tick) {
    while (!condition()) {
        if (stopAsked != 0) {
            return false;
        }
        if (const auto task = nextDue()) {
            task();
        }
        tick();
    }
    return true;
}

} // namespace tool
