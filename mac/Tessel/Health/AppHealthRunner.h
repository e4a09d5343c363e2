// Runs an application's health checks, records the report, and hands the reports that are still
// pending to a submitter. It decides itself whether a run is due: once for each new version and
// build, then whenever the periodic interval has passed since the last run of any kind.
// One lock makes runs exclude each other, also the wait for a running one; it is taken before the
// store's. Checks and the submitter are called on the calling thread while it is held, so they must
// not call the same runner. The store outlives the runner.
#pragma once

#include "mac/Tessel/Health/AppHealthCheck.h"
#include "mac/Tessel/Health/AppHealthConfiguration.h"
#include "mac/Tessel/Health/AppHealthReport.h"
#include "mac/Tessel/Health/AppHealthStore.h"
#include "platform/Clock.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace tessel {

// A check that throws it ends the run, which then does not count: nothing is recorded, and run()
// throws it on.
class AppHealthRunAborted : public std::exception {
  public:
    // A fixed text.
    [[nodiscard]] const char* what() const noexcept override { return "the run was aborted"; }
};

class AppHealthRunner {
  public:
    // As many as a report may hold.
    static constexpr std::size_t mostChecks = 256;

    // Takes the report, or leaves it pending: false, or anything thrown.
    using Submit = std::function<bool(const AppHealthReport&)>;
    // Asked for every time a report says.
    using WallClock = std::function<platform::WallTime()>;

    // Throws AppHealthValidationError for too many checks, and for two of the same id. Without a
    // submitter, reports stay pending.
    AppHealthRunner(
        AppHealthConfiguration configuration, std::vector<AppHealthCheck> checks,
        AppHealthStore& store, Submit submit = {},
        WallClock clock = [] { return platform::WallTime::clock::now(); });
    AppHealthRunner(const AppHealthRunner&) = delete;
    AppHealthRunner& operator=(const AppHealthRunner&) = delete;

    // The report if a run was due; otherwise only pending reports are submitted. Throws what run()
    // throws.
    std::optional<AppHealthReport> runIfNeeded();
    // Runs in any case. A check that throws anything but AppHealthRunAborted is a failed check.
    // Throws AppHealthValidationError when the report is not valid, and what the store throws; the
    // run then does not count.
    AppHealthReport run(AppHealthTrigger trigger);
    // Oldest first, up to the first that is not taken.
    void flushPending() noexcept;

    // The same without a runner. True when nothing is pending any more. Throws what the submitter
    // and the store throw.
    static bool submitPending(AppHealthStore& store, const Submit& submit);

    // Whole milliseconds of a duration in seconds, from 0 to 1e12.
    [[nodiscard]] static std::int64_t wholeMilliseconds(double seconds);

  private:
    [[nodiscard]] AppHealthReport runLocked(AppHealthTrigger trigger, platform::WallTime now);
    [[nodiscard]] AppHealthCheckResult resultOf(const AppHealthCheck& check) const;
    [[nodiscard]] std::string versionBuild() const;
    void flushPendingLocked() noexcept;

    const AppHealthConfiguration configuration_;
    const std::vector<AppHealthCheck> checks_;
    AppHealthStore& store_;
    const Submit submit_;
    const WallClock clock_;
    std::mutex lock_;
};

} // namespace tessel
