// What the worker program records, for it and for the tests that look at the outcome.
#pragma once

#include "mac/Tessel/Health/AppHealthReport.h"
#include "mac/Tessel/Health/AppHealthState.h"
#include "mac/Tessel/Values/Timestamp.h"

#include <chrono>
#include <string>

namespace health_worker {

inline constexpr int historyLimit = 3;
inline constexpr int pendingLimit = 3;

inline tessel::Timestamp timeOf(int number) {
    return tessel::Timestamp(std::chrono::seconds(1'800'000'000 + number));
}

inline tessel::AppHealthReport report(int number) {
    return tessel::AppHealthReport({.app = "zorvane",
                                    .version = "1.0",
                                    .build = std::to_string(number),
                                    .sourceCommit = "",
                                    .generatedAt = timeOf(number),
                                    .checks = {{.id = "start", .durationMs = number}}});
}

inline tessel::AppHealthState oldState() {
    return {.lastVersionBuild = "1.0:1", .lastRunAt = timeOf(1)};
}
inline tessel::AppHealthState newState() {
    return {.lastVersionBuild = "1.0:4", .lastRunAt = timeOf(4)};
}

} // namespace health_worker
