#include "mac/Tessel/Health/AppHealthReport.h"

#include "mac/Tessel/Health/AppHealthValidationError.h"
#include "mac/Tessel/Health/AppHealthValidator.h"

#include <algorithm>
#include <utility>

namespace tessel {
namespace {

std::string timestampText(std::variant<Timestamp, std::string> given) {
    if (const auto* time = std::get_if<Timestamp>(&given)) {
        return formatTimestamp(*time);
    }
    return std::get<std::string>(std::move(given));
}

double countOf(std::span<const AppHealthCheckResult> checks, AppHealthStatus status) {
    return static_cast<double>(std::ranges::count(checks, status, &AppHealthCheckResult::status));
}

} // namespace

AppHealthReport::AppHealthReport(Input input)
    : app(std::move(input.app))
    , channel(input.channel)
    , version(std::move(input.version))
    , build(std::move(input.build))
    , sourceCommit(std::move(input.sourceCommit))
    , artifact(input.artifact)
    , trigger(input.trigger)
    , generatedAt(timestampText(std::move(input.generatedAt)))
    , status(rollup(input.checks))
    , checks(std::move(input.checks))
    , metrics(summary(checks, input.bundleBytes))
    , attestation(std::move(input.attestation))
    , logKey(std::move(input.logKey)) {
    auto result = AppHealthValidator::validate(*this);
    if (!result.ok) {
        throw AppHealthValidationError(std::move(result.errors));
    }
}

AppHealthStatus AppHealthReport::rollup(std::span<const AppHealthCheckResult> checks) {
    for (const auto status : {AppHealthStatus::fail, AppHealthStatus::warning}) {
        if (std::ranges::find(checks, status, &AppHealthCheckResult::status) != checks.end()) {
            return status;
        }
    }
    return AppHealthStatus::pass;
}

AppHealthMetrics AppHealthReport::summary(std::span<const AppHealthCheckResult> checks,
                                          std::optional<std::int64_t> bundleBytes) {
    AppHealthMetrics metrics{
        {"checks", static_cast<double>(checks.size())},
        {"passed", countOf(checks, AppHealthStatus::pass)},
        {"failed", countOf(checks, AppHealthStatus::fail)},
        {"warnings", countOf(checks, AppHealthStatus::warning)},
        {"skipped", countOf(checks, AppHealthStatus::skip)},
        {"totalDurationMs", 0},
    };
    // Exact: a valid report's durations add up to less than 2^53.
    for (const auto& check : checks) {
        metrics["totalDurationMs"] += static_cast<double>(check.durationMs);
    }
    if (bundleBytes) {
        metrics["bundleBytes"] = static_cast<double>(*bundleBytes);
    }
    return metrics;
}

} // namespace tessel
