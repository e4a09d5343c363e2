// One health report (schema "health-report@1"): which build of which application it is about, the
// checks that ran and what they add up to. It holds identifiers, words of fixed lists, dates and
// numbers only, so that no content of the user's can enter it. The constructor that computes a
// report also validates it; a report whose fields were set one by one may be invalid, which
// AppHealthValidator finds out and the store refuses. Plain value; any thread.
#pragma once

#include "mac/Tessel/Health/AppHealthAttestation.h"
#include "mac/Tessel/Health/AppHealthCheck.h"
#include "mac/Tessel/Health/AppHealthEnumerations.h"
#include "mac/Tessel/Values/Timestamp.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tessel {

struct AppHealthReport {
    // What schemaVersion is in a valid report.
    static constexpr std::string_view currentSchemaVersion = "health-report@1";

    // What a report is made from; the rest follows.
    struct Input {
        // Identity of the build, as in the report.
        std::string app;
        AppHealthChannel channel = AppHealthChannel::release;
        std::string version;
        std::string build;
        std::string sourceCommit; // may be empty
        // What was built, what made the report, and what was found.
        AppHealthArtifact artifact = AppHealthArtifact::macApp;
        AppHealthTrigger trigger = AppHealthTrigger::manual;
        std::variant<Timestamp, std::string> generatedAt = Timestamp{}; // a date, or its text
        // In the order they ran; the rest is absent when not known.
        std::vector<AppHealthCheckResult> checks = {};
        std::optional<std::int64_t> bundleBytes = {};
        std::optional<AppHealthAttestation> attestation = {};
        std::optional<std::string> logKey = {};
    };

    AppHealthReport() = default;
    // Throws AppHealthValidationError when the finished report is not valid.
    explicit AppHealthReport(Input input);

    // The worst of the checks: fail, else warning, else pass. Skipped checks do not count.
    [[nodiscard]] static AppHealthStatus rollup(std::span<const AppHealthCheckResult> checks);
    // "checks", "passed", "failed", "warnings", "skipped", "totalDurationMs" and, when given,
    // "bundleBytes".
    [[nodiscard]] static AppHealthMetrics summary(std::span<const AppHealthCheckResult> checks,
                                                  std::optional<std::int64_t> bundleBytes);

    // The members of the document, by their keys there.
    std::string schemaVersion{currentSchemaVersion};
    std::string app;
    AppHealthChannel channel = AppHealthChannel::release;
    std::string version;
    std::string build;
    std::string sourceCommit;
    AppHealthArtifact artifact = AppHealthArtifact::macApp;
    AppHealthTrigger trigger = AppHealthTrigger::manual;
    std::string generatedAt;
    AppHealthStatus status = AppHealthStatus::pass;
    std::vector<AppHealthCheckResult> checks; // in the order they ran
    // The summary of the checks; the rest is absent when not known.
    AppHealthMetrics metrics;
    std::optional<AppHealthAttestation> attestation;
    std::optional<std::string> logKey;

    bool operator==(const AppHealthReport&) const = default;
};

} // namespace tessel
