// Starts a program by fork and exec (ProgramStart.h). The program gets the process group it is told
// to be in, descriptors 0, 1 and 2 and no others, every signal at its default disposition (or every
// one ignored) and an empty signal mask; it inherits the working directory and the file-creation
// mask. Whoever spawns reaps (Reaping.h). Errors are errno values. Any thread.
#pragma once

#include "platform/Environment.h"
#include "platform/posix/UniqueFd.h"

#include <sys/types.h>

#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace platform::posix {

// What execve(2) takes, laid out before the fork. Keep it alive until awaitExec() returned.
class ExecImage {
  public:
    // EINVAL when a string holds a NUL byte, or a variable's name is empty or holds "=".
    [[nodiscard]] static std::expected<ExecImage, int>
    make(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
         const Environment& environment);

    [[nodiscard]] const char* path() const { return strings.front().c_str(); }
    [[nodiscard]] char* const* arguments() const { return argumentPointers.data(); }
    [[nodiscard]] char* const* environment() const { return environmentPointers.data(); }

  private:
    ExecImage() = default;

    std::vector<std::string> strings;
    std::vector<char*> argumentPointers;
    std::vector<char*> environmentPointers;
};

struct SpawnPlan {
    const ExecImage* image = nullptr;
    // -1: /dev/null. None of the others may be 0, 1 or 2 (see Pipe.h).
    int input = -1;
    int output = -1;
    int errorOutput = -1;
    // 0: a new group, led by the program.
    pid_t group = 0;
    // A session of its own, without a terminal, in the place of a group in this one.
    bool ownSession = false;
    bool ignoreEverySignal = false;
    // Where the system can: SIGTERM when the calling thread ends.
    bool endWithThread = true;
};

struct Spawned {
    pid_t pid = -1;
    UniqueFd verdict;

    // Blocks until the program runs (nothing) or could not be executed (why); in the second case
    // the child has exited or is about to. Call it once.
    [[nodiscard]] std::optional<int> awaitExec();
};

[[nodiscard]] std::expected<Spawned, int> spawn(const SpawnPlan& plan);

} // namespace platform::posix
