// From fork to exec with nothing but async-signal-safe calls in between, and without the C++
// library, because the guardian starts its server this way too. Everything the new process needs
// is worked out before the fork and handed over by value.
#pragma once

#include <sys/types.h>

namespace platform::posix {

struct ProgramStart {
    const char* path;
    char* const* arguments;
    char* const* environment;
    int standard[3]; // become 0, 1 and 2, in this order
    int verdict;     // gets the errno value of a failed exec; closed by one that succeeds
    // A pipe's reading end, or -1. The program is executed only after one byte has arrived there;
    // when the pipe closes without one, the process exits instead. `gateWriteEnd` is its other end.
    int gate;
    int gateWriteEnd;
    int descriptorLimit; // see descriptorLimit()
    pid_t parent;
    pid_t group; // 0: a new one, led by the program
    // A session of its own, without a terminal, in the place of a group in this one.
    bool ownSession = false;
    bool ignoreEverySignal;
    int signalWhenParentDies; // 0: none; nothing comes of it where the system cannot
};

// How many descriptors this process may have.
[[nodiscard]] int descriptorLimit() noexcept;

// Forks with every signal held back, so that no handler of this program runs in the new process,
// which leads or joins its group, sees no descriptor but 0, 1 and 2, and has an empty mask. The
// group, unless it is a session's, exists when this returns. The new process's id, or -1 with errno
// set.
[[nodiscard]] pid_t forkAndExec(const ProgramStart& start) noexcept;

// Every signal that can be caught gets its default disposition, or is ignored; none is blocked.
void resetSignals(bool ignore) noexcept;

} // namespace platform::posix
