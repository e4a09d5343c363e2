#include "platform/cocoa/CocoaMainQueue.h"

#include "platform/cocoa/DispatchTask.h"

#include <pthread.h>

#include <utility>

namespace platform::cocoa {

void CocoaMainQueue::post(Task task) { dispatchTask(dispatch_get_main_queue(), std::move(task)); }

void CocoaMainQueue::postAfter(std::chrono::nanoseconds delay, Task task) {
    dispatchTaskAfter(delay, dispatch_get_main_queue(), std::move(task));
}

bool CocoaMainQueue::isMainThread() const { return pthread_main_np() == 1; }

} // namespace platform::cocoa
