// A descriptor that becomes readable for poll(2) when a process exits, and stays so after the
// process was reaped (Linux: pidfd_open(2); macOS: kqueue(2) with EVFILT_PROC and NOTE_EXIT). It
// never reaps anybody and needs no SIGCHLD handler, so it leaves other people's children alone.
// The descriptor is closed on exec. Any thread.
#pragma once

#include "platform/posix/UniqueFd.h"

#include <sys/types.h>

namespace platform::posix {

// `pid` must not be free for reuse during the call: an unreaped child, or the id of a process
// group that still has members. Empty with errno set when that process is gone already or the
// system has no descriptor left.
[[nodiscard]] UniqueFd watchForExit(pid_t pid) noexcept;

} // namespace platform::posix
