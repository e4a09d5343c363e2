// The calls around child processes that each system spells differently, one small function each.
// closeDescriptors() and askForSignalWhenParentDies() are async-signal-safe: they run between fork
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
// descriptors the process may have, for a system that may have to try them one by one.
void closeDescriptors(int first, int last, int limit) noexcept;

// Asks the system to send `signal` to this process when the thread of `parent` that forked it
// ends. False when that has happened already. True without effect where the system cannot.
[[nodiscard]] bool askForSignalWhenParentDies(int signal, pid_t parent) noexcept;

// From now on a process whose parent ended becomes a child of this one, if it descends from this
// one. Without effect where the system cannot; killChildren() finds only what was forked here then.
void adoptOrphans() noexcept;

// SIGKILL to every child of this process. Without effect where the system has no list of them.
void killChildren() noexcept;

// What is left of a tree whose guardian was killed: its parents do not tell any more who belongs
// to it.
struct AbandonedTree {
    pid_t leader;     // led the group; it need not exist any more
    const char* mark; // "NAME=value", an environment entry of this tree only, or empty
};

// SIGKILL to every member of the group and, where the system tells, to everybody who was started
// with the mark, until nobody is left or a few seconds are over.
void killAbandonedTree(const AbandonedTree& tree) noexcept;

} // namespace platform::posix
