#pragma once

#include <cstddef>

namespace ostrad {

// What a process gives up for good, and whatever it executes with it: sockets of every kind,
// leaving its process group, looking into other processes and, unless it may start programs, new
// processes (threads are none). Async-signal-safe. False when the system knows no such thing, and
// then nothing has changed.
bool confineThisProcess(bool mayStartPrograms);

} // namespace ostrad
