// The application's command line: it has no options but those that print something and end.
#pragma once

#include "mac/Zorvane/ServerCheckCommand.h"

#include <optional>
#include <string>

namespace zorvane {

struct CommandLineAnswer {
    std::string output = {};
    std::string error = {};
    int exitStatus = 0;
    // Present: a server is to be examined, which prints and decides the exit status.
    std::optional<ServerCheckRequest> checkServer = {};
};

// What to print before ending, or nothing when the application should start. Arguments that
// macOS itself passes to applications are ignored; anything else unknown is an error.
[[nodiscard]] std::optional<CommandLineAnswer> answerCommandLine(int argc, const char* const* argv,
                                                                 const std::string& version);

} // namespace zorvane
