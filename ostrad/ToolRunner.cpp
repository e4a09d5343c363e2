#include "ostrad/ToolRunner.h"

#include <array>

namespace ostrad {

std::optional<std::string> runTool(const std::vector<std::string>& arguments,
                                   const ToolLimits& limits, const std::atomic<bool>& stop,
                                   std::string_view input) {
    const auto deadline = ToolProcess::Clock::now() + limits.time;
    auto tool = ToolProcess::start(arguments, limits.bounds, input);
    if (!tool) {
        return std::nullopt;
    }
    std::string output;
    std::array<char, 16 * 1024> chunk{};
    ssize_t got = 0;
    while ((got = tool->read(chunk, stop, deadline)) > 0) {
        output.append(chunk.data(), static_cast<std::size_t>(got));
        if (output.size() > limits.maxOutput) {
            return std::nullopt;
        }
    }
    return got == 0 && tool->finish(stop, deadline) ? std::optional(std::move(output))
                                                    : std::nullopt;
}

} // namespace ostrad
