// A server's report for people and for programs. Pure; any thread.
#pragma once

#include "mac/Zorvane/ServerCheck.h"

#include <string>

namespace zorvane {

// A line a clause, what was seen where that says more, and the verdict.
[[nodiscard]] std::string reportTable(const ServerReport& report);
// docs/schema/server-check.schema.json; one object, ending in a line feed.
[[nodiscard]] std::string reportJson(const ServerReport& report);

} // namespace zorvane
