// The second half of a stop: a child that was asked to end gets until the deadline, then its whole
// group is killed. Whether it has ended is looked at every 0.1 s. Nothing waits after the kill.
#pragma once

#include "platform/ChildProcess.h"
#include "platform/Clock.h"
#include "platform/Queues.h"

#include <memory>

namespace zorvane {

// Blocks the caller. Any thread.
void waitThenKill(platform::ChildProcess& child, platform::SteadyTime deadline,
                  platform::Clock& clock);

// The same as a chain of short tasks on the queue, so that no thread is held for the grace. Returns
// at once; queue and clock outlive the chain.
void waitThenKill(std::shared_ptr<platform::ChildProcess> child, platform::SteadyTime deadline,
                  platform::Clock& clock, platform::Queue& queue);

} // namespace zorvane
