// A moment on the steady clock up to which a poll(2) may wait. Any time-out is accepted: a
// negative one is over at once, an enormous one never overflows.
#pragma once

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <span>

namespace platform::posix {

class Deadline {
  public:
    explicit Deadline(std::chrono::milliseconds timeout)
        : moment(std::chrono::steady_clock::now() +
                 std::clamp(timeout, std::chrono::milliseconds(0), longest)) {}

    [[nodiscard]] bool isOver() const { return std::chrono::steady_clock::now() >= moment; }

    // Waits until one of the descriptors is ready or the moment has come. True when one is ready;
    // a signal may end it early with false.
    [[nodiscard]] bool poll(std::span<pollfd> descriptors) const {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(moment - std::chrono::steady_clock::now());
        const auto wait = std::clamp(left, std::chrono::milliseconds(0), longestPoll);
        return ::poll(descriptors.data(), static_cast<nfds_t>(descriptors.size()),
                      static_cast<int>(wait.count())) > 0;
    }

  private:
    static constexpr std::chrono::milliseconds longest = std::chrono::hours(24 * 365);
    static constexpr std::chrono::milliseconds longestPoll = std::chrono::hours(24);

    std::chrono::steady_clock::time_point moment;
};

} // namespace platform::posix
