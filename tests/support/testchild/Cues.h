// Reads the command line and performs the cues (TestChild.h lists them). An unknown cue ends the
// program with code 64 and a line on standard error, so that a mistyped test cannot pass.
#pragma once

#include "tests/support/testchild/HealthServer.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace testchild {

struct CommandLine {
    bool wantsVersion = false;
    std::optional<std::string> address; // of -addr
    std::vector<std::string> cues;
};

[[nodiscard]] CommandLine readCommandLine(std::span<char*> arguments);

// Performs everything but serving, for which it returns what was asked.
[[nodiscard]] HealthPlan perform(const CommandLine& commandLine, std::span<char*> arguments);

} // namespace testchild
