// Waiting for one child by its id, never for any child: other parts of the process have children
// of their own. Until it is reaped, a child that has exited keeps its id, and with it the id of
// the group it led, from being given to anybody else. Each call restarts when interrupted. Any
// thread.
#pragma once

#include "platform/ChildProcess.h"
#include "platform/posix/UniqueFd.h"

#include <sys/types.h>

#include <expected>

namespace platform::posix {

// What waitpid(2) said about an end.
[[nodiscard]] ExitStatus describedStatus(int status);

// watchForExit() of an unreaped process, as a descriptor that is none of 0, 1 and 2; or an errno
// value.
[[nodiscard]] std::expected<UniqueFd, int> watchChild(pid_t child);

// Blocks until the child has exited; it stays to be reaped.
void awaitExitWithoutReaping(pid_t child);

// Blocks until the child has exited, lets go of its id, and tells how it ended.
ExitStatus reap(pid_t child);

// Kills the child and the group it leads, then reaps it.
void killAndReap(pid_t child);

} // namespace platform::posix
