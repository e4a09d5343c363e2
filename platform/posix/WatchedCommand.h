// Runs a program to its end whatever it prints: its standard output and standard error are always
// read, the beginning of the one and the end of both are kept. Standard input is empty. The program
// leads a process group of its own. When its time is over, or the caller wants it to end, the group
// is sent SIGTERM and, if the program is still there after a moment, SIGKILL; when the call returns
// the program is reaped, everything else in its group was sent SIGKILL, and no descriptor is left.
// Blocks; any thread, several at once.
#pragma once

#include "platform/ChildProcess.h"
#include "platform/Environment.h"

#include <chrono>
#include <cstddef>
#include <expected>
#include <filesystem>
#include <string>
#include <vector>

namespace platform::posix {

struct WatchedCommand {
    std::filesystem::path executable;
    std::vector<std::string> arguments = {};
    Environment environment = {};
    std::chrono::milliseconds timeout{60'000};
    std::size_t mostOutput = std::size_t{64} << 10; // of standard output, from its beginning
    std::size_t mostLast = std::size_t{4} << 10;    // of both, from their end
    int interrupt = -1; // a descriptor: as soon as it is readable the program is ended
};

struct WatchedEnd {
    enum class Reason { exited, timedOut, interrupted };

    Reason reason = Reason::exited;
    ExitStatus status = {};    // also of a program that was ended
    std::string output = {};   // standard output; what was beyond the limit is missing
    bool isOutputWhole = true; // nothing is missing
    std::string last = {};     // standard output and standard error as they came
};

// LaunchError when the program cannot be started.
[[nodiscard]] std::expected<WatchedEnd, LaunchError> runWatched(const WatchedCommand& command);

} // namespace platform::posix
