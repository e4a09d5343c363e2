// What the system knows about processes, for tests: who is in a group, who has ended, what this
// process has open.
#pragma once

#include "platform/posix/UniqueFd.h"

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace process_test {

// Far beyond what any step takes; a test that needs it has failed.
inline constexpr std::chrono::seconds patience(30);

// The living members of a process group (a zombie is no longer one).
[[nodiscard]] std::vector<pid_t> membersOf(pid_t group);
// Waits until the group has no living member.
[[nodiscard]] bool groupEnds(pid_t group);
// The living children of a process that run a program of this name (of up to 15 characters).
[[nodiscard]] std::vector<pid_t> childrenOf(pid_t parent, const std::string& program);
// The parent of a process that lives, or -1.
[[nodiscard]] pid_t parentOf(pid_t pid);

// Whether the process has ended; its parent may not have asked for its status yet.
[[nodiscard]] bool isGone(pid_t pid);

// What a process has taken of the processors so far, threads that have ended included; and those of
// its children that it has reaped, with theirs. In steps of a hundredth of a second.
struct ProcessorTime {
    std::chrono::milliseconds own{0};
    std::chrono::milliseconds ofChildren{0};
};
// Throws std::runtime_error when the process is not there.
[[nodiscard]] ProcessorTime processorTime(pid_t pid);

[[nodiscard]] std::size_t openDescriptors();
// Waits for so many threads of a name, since one that was joined is listed for a moment longer.
[[nodiscard]] bool threadsBecome(const std::string& name, std::size_t number);
// Zombies included. Reaps nobody.
[[nodiscard]] bool hasChildren();

// Watches somebody else's process, which may be anybody's child. Make it while the process is
// known to live.
class Watched {
  public:
    explicit Watched(pid_t pid);

    [[nodiscard]] pid_t pid() const { return processId; }
    [[nodiscard]] bool endsWithin(std::chrono::milliseconds timeout) const;
    [[nodiscard]] bool ends() const { return endsWithin(patience); }
    [[nodiscard]] bool lives() const { return !endsWithin(std::chrono::milliseconds(0)); }
    void signal(int number) const;

  private:
    pid_t processId;
    platform::posix::UniqueFd exitWatch;
};

} // namespace process_test
