#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace ostrad {

// Threads for what may block: reading a disk that is asleep, waiting for a tool. The owner hands a
// task over and goes on; when the task has run, its second half runs on the owner's thread again.
// Threads are started when none is idle, up to a limit, and end after a while without work. A
// thread that is stuck in the system holds nobody up, not even the destructor: it does not wait, so
// a task must own everything it touches. What is not done by then is dropped, its second half too.
class Workers {
  public:
    // Hands a function to the owner's thread; called on the threads, never after the destructor.
    using Deliver = std::function<void(std::function<void()>)>;

    Workers(std::size_t mostThreads, Deliver deliver);
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    // On the owner's thread. Neither function throws; `done` is run and destroyed there, or
    // destroyed with this object.
    void run(std::function<void()> task, std::function<void()> done);

  private:
    struct Shared;

    void finished(std::uint64_t number);

    std::shared_ptr<Shared> shared;
};

} // namespace ostrad
