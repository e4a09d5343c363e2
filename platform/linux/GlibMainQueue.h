// The main queue on GLib's default main context: one event source for every posted and delayed
// task, so an idle queue costs nothing. Tasks run in the order of posting, on the thread that made
// the object, whenever that thread iterates the context; tasks posted while a round is running
// wait for the next one, so that they cannot starve the user interface. A task that runs a nested
// main loop holds the others back until it returns. Tasks that have not run when the object is
// destroyed are destroyed unrun. Delays are rounded up to GLib's microseconds.
#pragma once

#include "platform/Queues.h"

#include <chrono>
#include <memory>
#include <thread>

namespace platform::desktop {

class GlibMainQueue final : public MainQueue {
  public:
    GlibMainQueue();
    ~GlibMainQueue() override;
    GlibMainQueue(const GlibMainQueue&) = delete;
    GlibMainQueue& operator=(const GlibMainQueue&) = delete;

    void post(Task task) override;
    void postAfter(std::chrono::nanoseconds delay, Task task) override;
    [[nodiscard]] bool isMainThread() const override;

  private:
    struct Source;

    std::thread::id mainThread_ = std::this_thread::get_id();
    std::unique_ptr<Source> source_;
};

} // namespace platform::desktop
