// How often a page may have the user asked something (a dialog, a file's place): five times within
// ten seconds. A question that is refused counts as well, so a page that goes on asking is not
// heard again until it has been silent for a while. The caller answers a refused question as the
// user who dismisses it. One thread only.
#pragma once

#include "platform/Clock.h"

#include <chrono>
#include <cstddef>
#include <deque>

namespace platform {

class QuestionLimit {
  public:
    // So many questions in so much time.
    static constexpr std::size_t most = 5;
    static constexpr std::chrono::seconds within{10};

    // Whether a question that comes now may be asked; it counts either way.
    [[nodiscard]] bool admits(SteadyTime now) {
        const bool admitted = asked_.size() < most || now - asked_.front() >= within;
        asked_.push_back(now);
        if (asked_.size() > most) {
            asked_.pop_front();
        }
        return admitted;
    }

  private:
    std::deque<SteadyTime> asked_; // the last ones
};

} // namespace platform
