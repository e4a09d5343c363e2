// The process table as each system has it; ProcessTable.h is what tests use.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace process_test {

struct ProcessEntry {
    pid_t pid = 0;
    pid_t parent = 0;
    pid_t group = 0;
    bool ended = false;  // a zombie
    std::string program; // its file's name; the first 15 characters
};

// Every process that this user can see.
[[nodiscard]] std::vector<ProcessEntry> everyProcess();
// Threads of this process by the name that they gave themselves.
[[nodiscard]] std::size_t threadsNamed(const std::string& name);

} // namespace process_test
