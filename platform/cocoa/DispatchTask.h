// Hands a task to a libdispatch queue, which runs it once and destroys it right after, with a pool
// for temporary Objective-C objects around it. An exception that leaves the task, a C++ or an
// Objective-C one, ends the process. Delays are described in CocoaMainQueue.h; one of more than a
// hundred years counts as a hundred. Any thread.
#pragma once

#include "platform/Queues.h"
#include "platform/cocoa/RequireArc.h"

#include <dispatch/dispatch.h>

namespace platform::cocoa {

void dispatchTask(dispatch_queue_t queue, Task task);
void dispatchTaskAfter(std::chrono::nanoseconds delay, dispatch_queue_t queue, Task task);

} // namespace platform::cocoa
