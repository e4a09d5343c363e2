// The main queue on libdispatch's: tasks run in the order of posting whenever the main run loop
// turns, AppKit's modal loops included. Delays count on the uptime clock, which rests while the
// machine sleeps; the steady clock goes on, so a task never runs early by the steady clock and
// runs late by the time slept. The system may let a delayed task wait up to a tenth of its delay
// longer (a millisecond at least) to wake the machine less often. Tasks that have not run when
// the process ends are never destroyed. Any thread.
#pragma once

#include "platform/Queues.h"
#include "platform/cocoa/RequireArc.h"

namespace platform::cocoa {

class CocoaMainQueue final : public MainQueue {
  public:
    void post(Task task) override;
    void postAfter(std::chrono::nanoseconds delay, Task task) override;
    [[nodiscard]] bool isMainThread() const override;
};

} // namespace platform::cocoa
