// The processes that descend from this one, read from /proc. With adoptOrphans() a grandchild whose
// parent died becomes a child of this process instead of init's, so nothing that a program under
// test leaves behind can get out of sight.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace desktop {

struct Process {
    pid_t pid = 0;
    pid_t parent = 0;
    char state = '?';    // as in proc(5); Z is a zombie
    std::string command; // the arguments, separated by blanks; the bare name of a zombie
};

void adoptOrphans();

// Every descendant but those in `except` and their descendants. Adopted orphans that have ended
// are reaped and left out; other zombies are listed. A Program's own process is left to it.
[[nodiscard]] std::vector<Process> descendants(const std::vector<pid_t>& except);

// The text for a failed test's message.
[[nodiscard]] std::string describe(const std::vector<Process>& processes);

} // namespace desktop
