// A check of an application's health, and what one run of it found. A check is named by a stable
// identifier: 1 to 80 bytes of lower-case ASCII letters and digits with single "-", "." or "_"
// between them. Plain values; whoever runs a check decides on which thread.
#pragma once

#include "mac/Tessel/Health/AppHealthEnumerations.h"

#include <boost/container/flat_map.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace tessel {

// In the order of the names' bytes, in one piece of memory: a report holds thousands.
using AppHealthMetrics = boost::container::flat_map<std::string, double>;

struct AppHealthCheck {
    // What a check finds: its status and its numbers.
    using Outcome = std::pair<AppHealthStatus, AppHealthMetrics>;
    // May throw anything; its runner counts that as a failed check, but for AppHealthRunAborted.
    using Operation = std::function<Outcome()>;

    // An identifier that is none is a bug of the caller's: the process is ended.
    AppHealthCheck(std::string id, AppHealthCategory category, Operation operation);

    // As given.
    std::string id;
    AppHealthCategory category;
    Operation operation;
};

// What became of one check.
struct AppHealthCheckResult {
    // The check's own, and what it found.
    std::string id;
    AppHealthCategory category = AppHealthCategory::unit;
    AppHealthStatus status = AppHealthStatus::pass;
    std::int64_t durationMs = 0; // milliseconds, never negative
    // At most 32 numbers from -1e12 to 1e12.
    AppHealthMetrics metrics = {};

    bool operator==(const AppHealthCheckResult&) const = default;
};

} // namespace tessel
