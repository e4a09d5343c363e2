// Answers what reaches an InstanceLock on a thread of its own, for an application whose main loop
// watches no descriptors, or rests for a while.
#pragma once

#include "platform/posix/InstanceLock.h"
#include "platform/posix/UniqueFd.h"

#include <thread>

namespace platform::posix {

class InstanceWatch {
  public:
    // From here to the destructor the lock, which listens, is this object's to use; what it calls
    // runs on the thread. Throws std::system_error when the system has no thread or pipe to give.
    explicit InstanceWatch(InstanceLock& lock);
    // Waits for the request that is being answered, if one is. Not from the thread itself.
    ~InstanceWatch();
    InstanceWatch(const InstanceWatch&) = delete;
    InstanceWatch& operator=(const InstanceWatch&) = delete;

  private:
    UniqueFd stop_; // closed to end the thread
    std::thread thread_;
};

} // namespace platform::posix
