// Counts attempts, so that what was started for an earlier one can see that it is not wanted any
// more. Any thread.
#pragma once

#include "mac/Tessel/Values/Precondition.h"

#include <cstdint>
#include <limits>
#include <mutex>

namespace tessel {

class Generation {
  public:
    // Makes everything that was started before stale. Ends the process when the count is used up.
    std::int64_t advance() {
        const std::scoped_lock lock(mutex_);
        precondition(value_ < std::numeric_limits<std::int64_t>::max(),
                     "a generation counter overflowed");
        return ++value_;
    }

    [[nodiscard]] bool isCurrent(std::int64_t generation) const {
        const std::scoped_lock lock(mutex_);
        return generation == value_;
    }

  private:
    mutable std::mutex mutex_;
    std::int64_t value_ = 0;
};

} // namespace tessel
