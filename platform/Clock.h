// Time as the product sees it. Delays and deadlines are measured on the steady clock only; the
// wall clock is for dates that are written down. Both calls may be made on any thread and never
// fail. The system's implementation is SystemClock; tests drive ManualScheduler.
#pragma once

#include <chrono>

namespace platform {

// A moment on the steady clock, which is never set back; means nothing outside this process.
using SteadyTime = std::chrono::steady_clock::time_point;
// A moment of the calendar, in UTC; the user may set that clock.
using WallTime = std::chrono::system_clock::time_point;

class Clock {
  public:
    virtual ~Clock() = default;

    // For delays and deadlines.
    [[nodiscard]] virtual SteadyTime now() const = 0;
    // For dates.
    [[nodiscard]] virtual WallTime wallNow() const = 0;
};

// The system's own clocks.
class SystemClock final : public Clock {
  public:
    // As Clock promises.
    [[nodiscard]] SteadyTime now() const override { return std::chrono::steady_clock::now(); }
    [[nodiscard]] WallTime wallNow() const override { return std::chrono::system_clock::now(); }
};

} // namespace platform
