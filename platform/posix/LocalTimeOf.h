// The clock on the wall by the C library's idea of the process's time zone (TZ, else the system's).
// Any thread.
#pragma once

#include "platform/Host.h"

namespace platform::posix {

// A moment that the C library's calendar cannot hold comes out as 1970-01-01 00:00:00.
[[nodiscard]] LocalTime localTimeOf(WallTime time);

} // namespace platform::posix
