// One thread that waits for many descriptors with poll(2) and calls a handler when one is
// readable, closed or broken. It sleeps while nothing happens and leaves signals to others
// (QuietThread.h). Handlers and tasks run on the thread and must not throw; destruction, on any
// other thread, lets the running one finish, drops the rest and joins.
#pragma once

#include "platform/posix/Pipe.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

struct pollfd;

namespace platform::posix {

class IoThread {
  public:
    using Handler = std::function<void()>;
    using WatchId = std::uint64_t;

    // Throws std::system_error when the system has no thread or descriptor left.
    IoThread();
    ~IoThread();
    IoThread(const IoThread&) = delete;
    IoThread& operator=(const IoThread&) = delete;

    // Any thread. Tasks run in the order in which they were posted.
    void post(Handler task);
    [[nodiscard]] std::thread::id id() const { return thread.get_id(); }

    // On the thread itself only. The handler is called as long as the descriptor is ready. It
    // may unwatch anything, itself included; unwatch before the descriptor is closed.
    WatchId watch(int descriptor, Handler onReady);
    void unwatch(WatchId watch);
    // Memory for reading, shared by all handlers: its content is gone once a handler returned.
    [[nodiscard]] std::span<char> scratch();

  private:
    struct Watch {
        int descriptor;
        Handler onReady;
    };

    void run();
    void collect(std::vector<pollfd>& polled, std::vector<WatchId>& ids) const;
    [[nodiscard]] bool runTasks();
    void wake() const;

    Pipe wakeUp;
    std::map<WatchId, std::shared_ptr<Watch>> watches; // the thread's own
    WatchId lastWatch = 0;                             // the thread's own
    std::vector<char> scratchMemory;                   // the thread's own

    std::mutex mutex;
    std::vector<Handler> tasks;
    bool stopping = false;

    std::thread thread; // last: it uses everything above
};

} // namespace platform::posix
