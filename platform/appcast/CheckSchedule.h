// When the next automatic check is due: a day after the last one, by the wall clock, since the days
// go on while the application does not run. Pure functions.
#pragma once

#include "platform/Clock.h"

#include <chrono>
#include <cstdint>

namespace platform::appcast {

inline constexpr std::chrono::hours checkInterval{24};

// `lastCheck` is in seconds since 1970, 0 when there was none. Never more than checkInterval; a
// last check that lies in the future tells of a clock that was wrong, and a check is due.
[[nodiscard]] std::chrono::seconds untilNextCheck(std::int64_t lastCheck, WallTime now);

[[nodiscard]] std::int64_t secondsSince1970(WallTime time);

} // namespace platform::appcast
