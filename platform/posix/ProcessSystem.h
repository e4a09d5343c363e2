// The calls around child processes that each system spells differently, one small function each.
// All but makeClosedOnExecPipe() and enlargePipe() are async-signal-safe: they run between fork
// and exec.
#pragma once

#include <sys/types.h>

namespace platform::posix {

// pipe(2), with both ends closed on exec; where the system allows, there is no moment at which
// another thread's fork could inherit them. 0, or -1 with errno set.
int makeClosedOnExecPipe(int (&ends)[2]) noexcept;

// Lets the pipe hold more, so that a fast writer is stopped less often. Best effort.
void enlargePipe(int descriptor) noexcept;

// Closes every descriptor from `first` to `last`, both included. `limit` is the number of
// descriptors the process may have, for a system that has to close them one by one.
void closeDescriptors(int first, int last, int limit) noexcept;

// Asks the system to send SIGTERM to this process when the thread of `parent` that forked it
// ends. False when that has happened already. True without effect where the system cannot.
[[nodiscard]] bool askToBeToldWhenParentDies(pid_t parent) noexcept;

} // namespace platform::posix
