// A library to be preloaded: the wall clock of the process is off by as many seconds as the file
// says that this variable names. It is read again at every look at the clock.
#pragma once

namespace storm {

inline constexpr const char* clockShiftVariable = "ZORVANE_CLOCK_SHIFT_FILE";

} // namespace storm
