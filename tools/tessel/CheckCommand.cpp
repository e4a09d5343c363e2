#include "tools/tessel/CheckCommand.h"

#include "tools/tessel/Output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace tool::health {
namespace {

using platform::posix::WatchedEnd;

std::string howItEnded(const WatchedEnd& end, std::chrono::milliseconds timeout) {
    if (end.reason == WatchedEnd::Reason::timedOut) {
        return fmt::format("no end within {} s", std::chrono::duration<double>(timeout).count());
    }
    if (end.status.signalled) {
        // One thread only runs commands and speaks of them.
        return fmt::format("signal {} ({})", end.status.code,
                           ::strsignal(end.status.code)); // NOLINT(concurrency-mt-unsafe)
    }
    return fmt::format("exit status {}", end.status.code);
}

std::vector<std::string> lastLines(std::string_view text) {
    constexpr std::size_t most = 10;
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        if (!line.empty()) {
            lines.push_back(visible(line));
        }
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    if (lines.size() > most) {
        lines.erase(lines.begin(), lines.end() - most);
    }
    return lines;
}

} // namespace

WatchedEnd runShell(const std::string& script, const std::vector<std::string>& parameters,
                    const platform::Environment& environment, const Interrupts& interrupts,
                    std::chrono::milliseconds timeout) {
    platform::posix::WatchedCommand command{.executable = "/bin/sh",
                                            .arguments = {"-c", script, "sh"},
                                            .environment = environment,
                                            .timeout = timeout,
                                            .interrupt = interrupts.descriptor()};
    command.arguments.insert(command.arguments.end(), parameters.begin(), parameters.end());
    auto end = platform::posix::runWatched(command);
    if (!end) {
        throw std::runtime_error(end.error().description());
    }
    return *std::move(end);
}

std::string explain(const WatchedEnd& end, std::chrono::milliseconds timeout) {
    std::string text = howItEnded(end, timeout);
    for (const std::string& line : lastLines(end.last)) {
        text += "\n    " + line;
    }
    return text;
}

} // namespace tool::health
