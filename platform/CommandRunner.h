// Runs a program to its end and returns what it printed, in bounded time and memory. Standard
// input is empty; standard error is a pipe that nobody reads, so a program that floods it stalls
// and runs into the time limit. The program gets a process group of its own; when the call
// returns the program is reaped, everything else in its group was sent SIGKILL, and no descriptor
// is left.
#pragma once

#include "platform/ChildProcess.h"

#include <chrono>
#include <cstddef>
#include <expected>
#include <filesystem>
#include <string>
#include <vector>

namespace platform {

// What a program left behind that ran to its end, well or not.
struct CommandResult {
    ExitStatus status;  // how it ended
    std::string output; // standard output, raw bytes
};

// Why there is no result.
struct CommandError {
    // It never ran, was killed at the time limit, or was cut off for what it printed.
    enum class Kind { notStarted, timedOut, tooMuchOutput };
    Kind kind = Kind::notStarted; // which of them
    std::string description;      // one sentence that names the program, for a log
};

class CommandRunner {
  public:
    virtual ~CommandRunner() = default;

    // Blocks the caller for at most `timeout` plus the moment a SIGKILL takes. Output beyond
    // `maxOutput` bytes is not read: the program stalls on its full pipe until the limit. Any
    // thread.
    [[nodiscard]] virtual std::expected<CommandResult, CommandError>
    run(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
        std::chrono::milliseconds timeout, std::size_t maxOutput) = 0;
};

} // namespace platform
