// Health reports for tests, one call each.
#pragma once

#include "mac/Tessel/Health/AppHealthConfiguration.h"
#include "mac/Tessel/Health/AppHealthReport.h"
#include "mac/Tessel/Values/Timestamp.h"

#include <chrono>
#include <string>

namespace health_fixtures {

inline constexpr std::chrono::sys_days someDay =
    std::chrono::sys_days(std::chrono::year(2026) / std::chrono::month(11) / std::chrono::day(21));

// A valid report that was made so many milliseconds after someDay began.
inline tessel::AppHealthReport
reportAt(int milliseconds, const std::string& build = "7",
         tessel::AppHealthTrigger trigger = tessel::AppHealthTrigger::manual) {
    return tessel::AppHealthReport(
        {.app = "zorvane",
         .version = "1.2.0",
         .build = build,
         .sourceCommit = "abc123",
         .trigger = trigger,
         .generatedAt = tessel::Timestamp(someDay) + std::chrono::milliseconds(milliseconds),
         .checks = {{.id = "database.open",
                     .category = tessel::AppHealthCategory::smoke,
                     .durationMs = 12,
                     .metrics = {{"rows", 4}}}}});
}

inline tessel::AppHealthConfiguration configuration(double periodicInterval = 3600,
                                                    const std::string& build = "7") {
    return {"zorvane", tessel::AppHealthChannel::release, "1.2.0",         build,
            "abc123",  tessel::AppHealthArtifact::macApp, periodicInterval};
}

} // namespace health_fixtures
