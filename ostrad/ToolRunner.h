#pragma once

#include "ostrad/ToolProcess.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostrad {

// Runs one helper program to its end and returns what it wrote to standard output, in whole. Blocks
// the calling thread. Returns nothing when the program cannot be started, fails, writes more than
// `maxOutput` bytes, or is not done in time; it is then killed with everything in its process group
// and reaped. It is killed within a tenth of a second after `stop` becomes true, too.

struct ToolLimits {
    std::chrono::milliseconds time{10'000};
    std::size_t maxOutput = std::size_t{1} << 20U;
    ToolBounds bounds = {};
};

// The first argument is the program's path.
std::optional<std::string> runTool(const std::vector<std::string>& arguments,
                                   const ToolLimits& limits, const std::atomic<bool>& stop,
                                   std::string_view input = {});

} // namespace ostrad
