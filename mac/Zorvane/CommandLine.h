// The application's command line: it has no options but those that print something and end.
#pragma once

#include <optional>
#include <string>

namespace zorvane {

struct CommandLineAnswer {
    std::string output;
    std::string error;
    int exitStatus = 0;
};

// What to print before ending, or nothing when the application should start. Arguments that
// macOS itself passes to applications are ignored; anything else unknown is an error.
[[nodiscard]] std::optional<CommandLineAnswer> answerCommandLine(int argc, const char* const* argv,
                                                                 const std::string& version);

} // namespace zorvane
