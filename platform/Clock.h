// Time as the product sees it. Delays and deadlines are measured on the steady clock only; the
// wall clock is for dates that are written down. Both calls may be made on any thread and never
// fail. The system's implementation is SystemClock; tests drive ManualScheduler.
#pragma once

#include <chrono>

namespace platform {

using SteadyTime = std::chrono::steady_clock::time_point;
using WallTime = std::chrono::system_clock::time_point;

class Clock {
  public:
    virtual ~Clock() = default;

    [[nodiscard]] virtual SteadyTime now() const = 0;
    [[nodiscard]] virtual WallTime wallNow() const = 0;
};

class SystemClock final : public Clock {
  public:
    [[nodiscard]] SteadyTime now() const override { return std::chrono::steady_clock::now(); }
    [[nodiscard]] WallTime wallNow() const override { return std::chrono::system_clock::now(); }
};

} // namespace platform
