#include "platform/cocoa/DispatchTask.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace platform::cocoa {
namespace {

void runOnce(void* context) noexcept {
    @autoreleasepool {
        const std::unique_ptr<Task> task(static_cast<Task*>(context));
        (*task)();
    }
}

void* handOver(Task task) { return std::make_unique<Task>(std::move(task)).release(); }

} // namespace

void dispatchTask(dispatch_queue_t queue, Task task) {
    dispatch_async_f(queue, handOver(std::move(task)), runOnce);
}

void dispatchTaskAfter(std::chrono::nanoseconds delay, dispatch_queue_t queue, Task task) {
    // What would overflow means "never" to libdispatch, which wants no task for that.
    constexpr std::chrono::nanoseconds longest = std::chrono::years(100);
    if (delay <= std::chrono::nanoseconds::zero()) {
        dispatchTask(queue, std::move(task));
        return;
    }
    dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, std::min(delay, longest).count()), queue,
                     handOver(std::move(task)), runOnce);
}

} // namespace platform::cocoa
