// What a program and everything below it occupies at one moment, read from /proc.
#pragma once

#include "tests/desktop/session/ProcessTree.h"

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace soak {

struct Usage {
    std::size_t descriptors = 0; // of the program alone, like the threads and the memory
    std::size_t threads = 0;
    double residentMiB = 0;
    double othersMiB = 0;                 // of the other processes
    std::map<std::string, int> processes; // how many of each name, zombies under "zombie"
};

// `all` has the program and what it started. Throws std::runtime_error when the program is gone.
[[nodiscard]] Usage usageOf(pid_t program, const std::vector<desktop::Process>& all);
[[nodiscard]] std::string nameOf(const desktop::Process& process);
[[nodiscard]] std::string describe(const Usage& usage);

} // namespace soak
