// Where work runs. A Queue takes tasks from any thread and runs each exactly once, unless the
// process ends first; a delay is measured on the steady clock and a task never runs before it is
// over. The main queue runs its tasks one after the other, in the order of posting, on the main
// thread; global queues run theirs concurrently; a serial queue runs one at a time, in order.
// Tasks must not throw: an exception that leaves one ends the process.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace platform {

// A piece of work, run once.
using Task = std::function<void()>;

// Whether a user waits for it, or it may take its time.
enum class QualityOfService { userInitiated, utility };

class Queue {
  public:
    virtual ~Queue() = default;

    // Runs the task as soon as its turn comes, or not before the delay is over. Both return at once
    // and may be called on any thread, from inside a task too.
    virtual void post(Task task) = 0;
    virtual void postAfter(std::chrono::nanoseconds delay, Task task) = 0;
};

// The queue of the main thread.
class MainQueue : public Queue {
  public:
    // Whether the calling thread is the one that runs the tasks.
    [[nodiscard]] virtual bool isMainThread() const = 0;
};

// The queues beside the main thread. Any thread.
class BackgroundQueues {
  public:
    virtual ~BackgroundQueues() = default;

    // The process-wide concurrent queue of that quality of service; lives as long as this object.
    [[nodiscard]] virtual Queue& global(QualityOfService qos) = 0;
    // A new serial queue. Tasks already posted still run after the queue object is gone.
    [[nodiscard]] virtual std::unique_ptr<Queue> makeSerial(const std::string& label,
                                                            QualityOfService qos) = 0;
};

} // namespace platform
