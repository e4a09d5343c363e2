// The configuration of `tessel health run`: a JSON object with app, channel, version, build,
// artifact and checks, and if wanted sourceCommit, periodicInterval (seconds) and bundleBytes. A
// check has an id, a category, a command for the shell, and if wanted a timeout (seconds).
#pragma once

#include "mac/Tessel/Health/AppHealthConfiguration.h"
#include "mac/Tessel/Health/AppHealthEnumerations.h"

#include <chrono>
#include <expected>
#include <string>
#include <string_view>
#include <vector>

namespace tool::health {

struct PlannedCheck {
    std::string id;
    tessel::AppHealthCategory category = tessel::AppHealthCategory::smoke;
    std::string command;
    std::chrono::milliseconds timeout{60'000};
};

struct Plan {
    tessel::AppHealthConfiguration configuration;
    std::vector<PlannedCheck> checks;
};

// Or what is wrong with it, as one sentence without a full stop.
[[nodiscard]] std::expected<Plan, std::string> readPlan(std::string_view text);

} // namespace tool::health
