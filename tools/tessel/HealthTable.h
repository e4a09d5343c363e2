// Reports as a person reads them: what the terminal shows where a script gets JSON.
#pragma once

#include "mac/Tessel/Health/AppHealthReport.h"
#include "mac/Tessel/Health/AppHealthStore.h"
#include "platform/Environment.h"

#include <string>
#include <string_view>
#include <vector>

namespace tool::health {

// Whether colours are wanted: not with NO_COLOR, and not on a terminal that calls itself dumb.
[[nodiscard]] bool wantsColour(const platform::Environment& environment);

// "pass", green; the other states likewise. Padded to `width` columns.
[[nodiscard]] std::string statusText(tessel::AppHealthStatus status, bool isColoured,
                                     std::size_t width = 0);

// A line about the report and one for each check.
[[nodiscard]] std::string tableOf(const tessel::AppHealthReport& report, bool isColoured);
// A line for each report; empty without any.
[[nodiscard]] std::string tableOf(const std::vector<tessel::StoredAppHealthReport>& entries,
                                  bool isColoured);

} // namespace tool::health
