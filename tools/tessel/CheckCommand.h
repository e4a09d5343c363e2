// A shell command that belongs to a health report: a check, or what takes a report.
#pragma once

#include "platform/Environment.h"
#include "platform/posix/WatchedCommand.h"
#include "tools/tessel/Interrupts.h"

#include <chrono>
#include <string>
#include <vector>

namespace tool::health {

// Runs `/bin/sh -c script` with these positional parameters, in a process group that ends when an
// interrupt comes. Throws std::runtime_error when there is no shell.
[[nodiscard]] platform::posix::WatchedEnd runShell(const std::string& script,
                                                   const std::vector<std::string>& parameters,
                                                   const platform::Environment& environment,
                                                   const Interrupts& interrupts,
                                                   std::chrono::milliseconds timeout);

// How it ended ("exit status 3", "signal 9 (Killed)", "no end within 10 s"), and below that the
// last lines of what it printed, indented and fit for a terminal.
[[nodiscard]] std::string explain(const platform::posix::WatchedEnd& end,
                                  std::chrono::milliseconds timeout);

} // namespace tool::health
