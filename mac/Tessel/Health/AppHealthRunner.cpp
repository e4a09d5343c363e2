#include "mac/Tessel/Health/AppHealthRunner.h"

#include "mac/Tessel/Health/AppHealthValidator.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <set>
#include <string_view>
#include <utility>

namespace tessel {
namespace {

double secondsBetween(platform::WallTime start, platform::WallTime end) {
    return std::chrono::duration<double>(end - start).count();
}

Timestamp timestampOf(platform::WallTime time) {
    return std::chrono::floor<std::chrono::milliseconds>(time);
}

// A date that was read from a file may be too far away for the unit of the clock.
double secondsSince(Timestamp start, platform::WallTime now) {
    return std::chrono::duration<double>(timestampOf(now) - start).count() +
           secondsBetween(timestampOf(now), now);
}

void requireDistinctIds(const std::vector<AppHealthCheck>& checks) {
    std::set<std::string_view> ids;
    for (const AppHealthCheck& check : checks) {
        if (!ids.insert(check.id).second) {
            throw AppHealthValidationError({"check ids must be unique"});
        }
    }
}

AppHealthCheck::Outcome outcomeOf(const AppHealthCheck& check) {
    try {
        return check.operation();
    } catch (const AppHealthRunAborted&) {
        throw;
    } catch (...) { // whatever a check throws, it is the check that failed
        return {AppHealthStatus::fail, {{"error", 1}}};
    }
}

} // namespace

AppHealthRunner::AppHealthRunner(AppHealthConfiguration configuration,
                                 std::vector<AppHealthCheck> checks, AppHealthStore& store,
                                 Submit submit, WallClock clock)
    : configuration_(std::move(configuration))
    , checks_(std::move(checks))
    , store_(store)
    , submit_(std::move(submit))
    , clock_(std::move(clock)) {
    if (checks_.size() > mostChecks) {
        throw AppHealthValidationError({"too many checks"});
    }
    requireDistinctIds(checks_);
}

std::optional<AppHealthReport> AppHealthRunner::runIfNeeded() {
    const std::lock_guard held(lock_);
    const auto now = clock_();
    const AppHealthState state = store_.loadState();
    if (state.lastVersionBuild != versionBuild()) {
        return runLocked(AppHealthTrigger::versionLaunch, now);
    }
    // A clock that went backwards makes less than any interval of it.
    if (state.lastRunAt && secondsSince(*state.lastRunAt, now) < configuration_.periodicInterval) {
        flushPendingLocked();
        return std::nullopt;
    }
    return runLocked(AppHealthTrigger::periodic, now);
}

AppHealthReport AppHealthRunner::run(AppHealthTrigger trigger) {
    const std::lock_guard held(lock_);
    return runLocked(trigger, clock_());
}

void AppHealthRunner::flushPending() noexcept {
    const std::lock_guard held(lock_);
    flushPendingLocked();
}

std::int64_t AppHealthRunner::wholeMilliseconds(double seconds) {
    constexpr double millisecondsPerSecond = 1000.0;
    constexpr double most = 1e12;
    const double milliseconds = seconds * millisecondsPerSecond;
    if (!std::isfinite(milliseconds)) {
        return 0;
    }
    return static_cast<std::int64_t>(std::clamp(milliseconds, 0.0, most));
}

AppHealthReport AppHealthRunner::runLocked(AppHealthTrigger trigger, platform::WallTime now) {
    AppHealthReport::Input input{.app = configuration_.app,
                                 .channel = configuration_.channel,
                                 .version = configuration_.version,
                                 .build = configuration_.build,
                                 .sourceCommit = configuration_.sourceCommit,
                                 .artifact = configuration_.artifact,
                                 .trigger = trigger,
                                 .generatedAt = timestampOf(now),
                                 .bundleBytes = configuration_.bundleBytes,
                                 .attestation = configuration_.attestation};
    input.checks.reserve(checks_.size());
    for (const AppHealthCheck& check : checks_) {
        input.checks.push_back(resultOf(check));
    }
    AppHealthReport report(std::move(input));
    store_.record(report);
    store_.saveState({.lastVersionBuild = versionBuild(), .lastRunAt = timestampOf(now)});
    flushPendingLocked();
    return report;
}

AppHealthCheckResult AppHealthRunner::resultOf(const AppHealthCheck& check) const {
    const auto start = clock_();
    auto [status, metrics] = outcomeOf(check);
    const auto end = clock_();
    return {.id = check.id,
            .category = check.category,
            .status = status,
            .durationMs = wholeMilliseconds(secondsBetween(start, end)),
            .metrics = std::move(metrics)};
}

std::string AppHealthRunner::versionBuild() const {
    return configuration_.version + ":" + configuration_.build;
}

void AppHealthRunner::flushPendingLocked() noexcept {
    if (!submit_) {
        return;
    }
    try {
        submitPending(store_, submit_);
    } catch (...) { // the rest stays pending until the next time
        return;
    }
}

bool AppHealthRunner::submitPending(AppHealthStore& store, const Submit& submit) {
    for (const StoredAppHealthReport& entry : store.pendingEntries()) {
        if (!submit(entry.report)) {
            return false;
        }
        store.markSubmitted(entry);
    }
    return true;
}

} // namespace tessel
