// The watcher that ends a child's process group when this process is gone (guardian/main.cpp is
// the program). It is a child of this process and a member of the group it guards. It learns of
// our end from its standard input, the reading end of a pipe whose other end only this process
// holds. Guardian itself only owns the descriptors: whoever started it reaps it.
#pragma once

#include "platform/posix/UniqueFd.h"

#include <sys/types.h>

#include <chrono>
#include <expected>
#include <filesystem>

namespace platform::posix {

struct Guardian {
    pid_t pid = -1;
    UniqueFd lifeline; // never written to: its closing is the message
    UniqueFd exitWatch;
};

struct GuardianPlan {
    std::filesystem::path executable;
    std::chrono::milliseconds grace{0}; // between SIGTERM and SIGKILL
};

// Returns once the guardian runs; on failure (an errno value) nothing of it is left. `group` is
// the id of an unreaped child that leads its group. Any thread.
[[nodiscard]] std::expected<Guardian, int> startGuardian(const GuardianPlan& plan, pid_t group);

} // namespace platform::posix
