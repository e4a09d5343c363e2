#pragma once

#include <condition_variable>
#include <mutex>

namespace ostrad {

// Who writes to the database next. SQLite lets one connection write at a time and makes the others
// poll; with this, a request waits for at most the batch that the scan has begun, never for the
// scan. Any thread; a turn is held only as long as one transaction.
class WriteTurn {
  public:
    // For requests: before every batch that is not yet begun.
    [[nodiscard]] std::unique_lock<std::mutex> request() {
        std::unique_lock lock(mutex);
        ++waiting;
        changed.wait(lock, [this] { return !busy; });
        --waiting;
        changed.notify_all();
        return lock;
    }

    // For the scan: held by the object, given back when it ends.
    class Batch {
      public:
        explicit Batch(WriteTurn& owner)
            : turn(owner) {
            std::unique_lock lock(turn.mutex);
            turn.changed.wait(lock, [this] { return turn.waiting == 0 && !turn.busy; });
            turn.busy = true;
        }
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;
        ~Batch() {
            {
                const std::scoped_lock lock(turn.mutex);
                turn.busy = false;
            }
            turn.changed.notify_all();
        }

      private:
        WriteTurn& turn;
    };

  private:
    std::mutex mutex;
    std::condition_variable changed;
    int waiting = 0;
    bool busy = false;
};

} // namespace ostrad
