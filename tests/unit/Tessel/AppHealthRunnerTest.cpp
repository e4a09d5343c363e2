#include "mac/Tessel/Health/AppHealthRunner.h"

#include "mac/Tessel/Health/AppHealthValidationError.h"
#include "platform/testing/InMemoryDurableFiles.h"
#include "platform/testing/InMemorySystem.h"
#include "tests/unit/Tessel/HealthFixtures.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace {

using namespace std::chrono_literals;
using health_fixtures::configuration;
using health_fixtures::someDay;
using tessel::AppHealthArtifact;
using tessel::AppHealthCategory;
using tessel::AppHealthChannel;
using tessel::AppHealthCheck;
using tessel::AppHealthConfiguration;
using tessel::AppHealthMetrics;
using tessel::AppHealthReport;
using tessel::AppHealthRunner;
using tessel::AppHealthStatus;
using tessel::AppHealthTrigger;
using tessel::AppHealthValidationError;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

template <class Action>
std::vector<std::string> errorsOf(Action action) {
    try {
        static_cast<void>(action());
    } catch (const AppHealthValidationError& error) {
        return error.errors();
    }
    return {};
}

TEST(AppHealthConfiguration, takesWhatIsValid) {
    EXPECT_NO_THROW(configuration(0));
    const AppHealthConfiguration made("a", AppHealthChannel::beta, "1.0+b_c-d", "1.a_b-c", "",
                                      AppHealthArtifact::worker, 1.5, 1'000'000'000'000);
    EXPECT_EQ(made.bundleBytes, 1'000'000'000'000);
    EXPECT_EQ(made.channel, AppHealthChannel::beta);
    EXPECT_EQ(made.attestation, std::nullopt);
}

TEST(AppHealthConfiguration, namesEveryFieldThatIsNotValid) {
    const auto errors = errorsOf([] {
        return AppHealthConfiguration("Bad App", AppHealthChannel::dev, "", "1/2", "-x",
                                      AppHealthArtifact::goServer, -1, -1);
    });
    EXPECT_THAT(errors, ElementsAre("bad app", "bad version", "bad build", "bad sourceCommit",
                                    "periodicInterval is invalid", "bundleBytes is invalid"));
}

TEST(AppHealthConfiguration, hasAnIntervalThatIsANumberOfSeconds) {
    for (const double interval :
         {-0.001, std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
          std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_THAT(errorsOf([&] { return configuration(interval); }),
                    ElementsAre("periodicInterval is invalid"))
            << interval;
    }
}

TEST(AppHealthConfiguration, hasABundleOfAPossibleSize) {
    for (const std::int64_t bytes :
         {std::int64_t{-1}, std::int64_t{1'000'000'000'001},
          std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
        EXPECT_THAT(errorsOf([&] {
                        return AppHealthConfiguration("a", AppHealthChannel::dev, "1", "1", "",
                                                      AppHealthArtifact::macApp, 0, bytes);
                    }),
                    ElementsAre("bundleBytes is invalid"))
            << bytes;
    }
}

class AppHealthRunnerTest : public testing::Test {
  protected:
    [[nodiscard]] AppHealthRunner::WallClock clock() {
        return [this] { return now; };
    }
    [[nodiscard]] AppHealthRunner::Submit submitter() {
        return [this](const AppHealthReport& report) {
            offered.push_back(report.generatedAt);
            if (submitThrows) {
                throw std::runtime_error("no network");
            }
            return offered.size() <= accepted;
        };
    }
    [[nodiscard]] std::unique_ptr<AppHealthRunner> make(double interval = 3600,
                                                        std::vector<AppHealthCheck> checks = {},
                                                        const std::string& build = "7",
                                                        AppHealthRunner::Submit submit = {}) {
        return std::make_unique<AppHealthRunner>(configuration(interval, build), std::move(checks),
                                                 store, std::move(submit), clock());
    }
    [[nodiscard]] AppHealthCheck check(std::string id, AppHealthStatus status,
                                       AppHealthMetrics metrics = {}) {
        return {std::move(id), AppHealthCategory::smoke, [this, status, metrics] {
                    now += checkTakes;
                    return std::pair(status, metrics);
                }};
    }
    [[nodiscard]] std::string stateText() const {
        const auto found = files.nodes.find("/health/state.json");
        return found == files.nodes.end() ? "none" : found->second.content;
    }

    platform::testing::InMemoryDurableFiles files;
    platform::testing::FakeRandomSource random;
    tessel::AppHealthStore store{"/health", files, random};
    platform::WallTime now{someDay};
    std::chrono::system_clock::duration checkTakes{0};
    std::vector<std::string> offered;
    std::size_t accepted = 1000;
    bool submitThrows = false;
};

TEST_F(AppHealthRunnerTest, runsOnTheFirstLaunchAndThenOnlySubmits) {
    accepted = 0;
    const auto runner = make(3600, {}, "7", submitter());
    const auto first = runner->runIfNeeded();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->trigger, AppHealthTrigger::versionLaunch);
    EXPECT_EQ(first->generatedAt, "2026-11-21T00:00:00.000Z");
    EXPECT_EQ(stateText(), R"({"lastRunAt":"2026-11-21T00:00:00Z","lastVersionBuild":"1.2.0:7"})");
    EXPECT_THAT(offered, SizeIs(1));

    EXPECT_EQ(runner->runIfNeeded(), std::nullopt);
    EXPECT_THAT(offered, SizeIs(2));
    EXPECT_THAT(store.historyReports(), ElementsAre(*first));
}

TEST_F(AppHealthRunnerTest, runsAgainWhenTheIntervalHasPassed) {
    const auto runner = make(3600);
    ASSERT_TRUE(runner->runIfNeeded());
    now += 3600s - 1us;
    EXPECT_EQ(runner->runIfNeeded(), std::nullopt);
    now += 1us;
    const auto report = runner->runIfNeeded();
    ASSERT_TRUE(report);
    EXPECT_EQ(report->trigger, AppHealthTrigger::periodic);
    EXPECT_EQ(runner->runIfNeeded(), std::nullopt);
}

TEST_F(AppHealthRunnerTest, runsEveryTimeWithoutAnInterval) {
    const auto runner = make(0);
    ASSERT_TRUE(runner->runIfNeeded());
    for (int call = 0; call < 3; ++call) {
        const auto report = runner->runIfNeeded();
        ASSERT_TRUE(report);
        EXPECT_EQ(report->trigger, AppHealthTrigger::periodic);
    }
}

TEST_F(AppHealthRunnerTest, runsForEveryNewBuild) {
    ASSERT_TRUE(make(3600, {}, "7")->runIfNeeded());
    const auto report = make(3600, {}, "8")->runIfNeeded();
    ASSERT_TRUE(report);
    EXPECT_EQ(report->trigger, AppHealthTrigger::versionLaunch);
    EXPECT_EQ(make(3600, {}, "8")->runIfNeeded(), std::nullopt);
}

TEST_F(AppHealthRunnerTest, waitsOutAClockThatWentBackwards) {
    const auto runner = make(60);
    ASSERT_TRUE(runner->runIfNeeded());
    now -= 48h;
    EXPECT_EQ(runner->runIfNeeded(), std::nullopt);
    now += 48h + 59s;
    EXPECT_EQ(runner->runIfNeeded(), std::nullopt);
    now += 1s;
    EXPECT_TRUE(runner->runIfNeeded());
}

TEST_F(AppHealthRunnerTest, waitsOutADateThatNoClockReaches) {
    const auto runner = make(60);
    ASSERT_TRUE(runner->runIfNeeded());
    files.nodes.at("/health/state.json").content =
        R"({"lastRunAt":"9999-12-31T23:59:59Z","lastVersionBuild":"1.2.0:7"})";
    EXPECT_EQ(runner->runIfNeeded(), std::nullopt);
    files.nodes.at("/health/state.json").content =
        R"({"lastRunAt":"0000-01-01T00:00:00Z","lastVersionBuild":"1.2.0:7"})";
    EXPECT_TRUE(runner->runIfNeeded());
}

TEST_F(AppHealthRunnerTest, runsPeriodicallyWhenItDoesNotKnowTheLastTime) {
    const auto runner = make(3600);
    ASSERT_TRUE(runner->runIfNeeded());
    files.nodes.at("/health/state.json").content = R"({"lastVersionBuild":"1.2.0:7"})";
    EXPECT_EQ(runner->runIfNeeded()->trigger, AppHealthTrigger::periodic);
}

TEST_F(AppHealthRunnerTest, beginsAnewWithoutItsState) {
    const auto runner = make();
    ASSERT_TRUE(runner->runIfNeeded());
    for (const auto* text : {"", "{}", "null", "{\"lastRunAt\":1}"}) {
        files.nodes.at("/health/state.json").content = text;
        EXPECT_EQ(runner->runIfNeeded()->trigger, AppHealthTrigger::versionLaunch) << text;
    }
    files.nodes.erase("/health/state.json");
    EXPECT_EQ(runner->runIfNeeded()->trigger, AppHealthTrigger::versionLaunch);
}

TEST_F(AppHealthRunnerTest, countsEveryRunForTheInterval) {
    const auto runner = make(60);
    ASSERT_TRUE(runner->runIfNeeded());
    now += 50s;
    EXPECT_EQ(runner->run(AppHealthTrigger::manual).trigger, AppHealthTrigger::manual);
    now += 50s;
    EXPECT_EQ(runner->runIfNeeded(), std::nullopt);
}

TEST_F(AppHealthRunnerTest, reportsWhatTheChecksAnswered) {
    checkTakes = 1999us;
    const auto report = make(60, {check("b", AppHealthStatus::warning, {{"rows", 4}}),
                                  check("a", AppHealthStatus::skip)})
                            ->run(AppHealthTrigger::postbuild);
    ASSERT_THAT(report.checks, SizeIs(2));
    EXPECT_EQ(report.checks[0].id, "b");
    EXPECT_EQ(report.checks[0].category, AppHealthCategory::smoke);
    EXPECT_EQ(report.checks[0].durationMs, 1);
    EXPECT_EQ(report.checks[0].metrics, (AppHealthMetrics{{"rows", 4}}));
    EXPECT_EQ(report.checks[1].status, AppHealthStatus::skip);
    EXPECT_EQ(report.status, AppHealthStatus::warning);
    EXPECT_EQ(report.generatedAt, "2026-11-21T00:00:00.000Z") << "when the run began";
    EXPECT_EQ(report.app, "zorvane");
    EXPECT_EQ(report.sourceCommit, "abc123");
    EXPECT_EQ(report.logKey, std::nullopt);
    EXPECT_EQ(store.latestReport(), report);
}

TEST_F(AppHealthRunnerTest, reportsTheBundleAndTheAttestation) {
    const auto attestation = tessel::AppHealthAttestation::receipt(
        {"build-attestation@1", "zorvane", "1.2.0", "7", "abc123", tessel::Timestamp(someDay), {}});
    AppHealthRunner runner(AppHealthConfiguration("zorvane", AppHealthChannel::release, "1.2.0",
                                                  "7", "abc123", AppHealthArtifact::macApp, 0, 0,
                                                  attestation),
                           {}, store, {}, clock());
    const auto report = runner.run(AppHealthTrigger::manual);
    EXPECT_EQ(report.metrics.at("bundleBytes"), 0);
    EXPECT_EQ(report.attestation, attestation);
}

TEST_F(AppHealthRunnerTest, countsACheckThatThrowsAsFailed) {
    const auto throwing = [](auto thrown) {
        return [thrown]() -> AppHealthCheck::Outcome { throw thrown; };
    };
    const auto report = make(60, {{"a", AppHealthCategory::unit, throwing(std::runtime_error("x"))},
                                  {"b", AppHealthCategory::unit, throwing(7)},
                                  {"c", AppHealthCategory::unit, nullptr}})
                            ->run(AppHealthTrigger::manual);
    ASSERT_THAT(report.checks, SizeIs(3));
    for (const auto& result : report.checks) {
        EXPECT_EQ(result.status, AppHealthStatus::fail) << result.id;
        EXPECT_EQ(result.metrics, (AppHealthMetrics{{"error", 1}})) << result.id;
    }
    EXPECT_EQ(report.status, AppHealthStatus::fail);
}

TEST_F(AppHealthRunnerTest, measuresWholeMillisecondsThatAreNeverNegative) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const auto& [seconds, milliseconds] :
         std::vector<std::pair<double, std::int64_t>>{{0, 0},
                                                      {0.0015, 1},
                                                      {1.9999, 1999},
                                                      {-0.5, 0},
                                                      {-infinity, 0},
                                                      {infinity, 0},
                                                      {1e306, 0},
                                                      {1e9, 1'000'000'000'000},
                                                      {1e12, 1'000'000'000'000}}) {
        EXPECT_EQ(AppHealthRunner::wholeMilliseconds(seconds), milliseconds) << seconds;
    }
    EXPECT_EQ(AppHealthRunner::wholeMilliseconds(std::numeric_limits<double>::quiet_NaN()), 0);
    checkTakes = -5s;
    EXPECT_EQ(make(60, {check("a", AppHealthStatus::pass)})
                  ->run(AppHealthTrigger::manual)
                  .checks[0]
                  .durationMs,
              0);
}

TEST_F(AppHealthRunnerTest, isNotMadeWithTooManyOrEqualChecks) {
    const auto pass = [] { return AppHealthCheck::Outcome(AppHealthStatus::pass, {}); };
    std::vector<AppHealthCheck> checks;
    for (int number = 0; number < 256; ++number) {
        checks.emplace_back("check" + std::to_string(number), AppHealthCategory::unit, pass);
    }
    EXPECT_THAT(make(60, checks)->run(AppHealthTrigger::manual).checks, SizeIs(256));
    checks.emplace_back("check0", AppHealthCategory::unit, pass);
    EXPECT_THAT(errorsOf([&] { return make(60, checks); }), ElementsAre("too many checks"));
    checks.erase(checks.begin() + 1);
    EXPECT_THAT(errorsOf([&] { return make(60, checks); }),
                ElementsAre("check ids must be unique"));
}

TEST_F(AppHealthRunnerTest, changesNothingWhenTheReportIsNotValid) {
    const auto runner = make(
        60, {check("a", AppHealthStatus::pass, {{"x", std::numeric_limits<double>::infinity()}})});
    EXPECT_THROW(static_cast<void>(runner->runIfNeeded()), AppHealthValidationError);
    EXPECT_THAT(store.historyReports(), IsEmpty());
    EXPECT_EQ(stateText(), "none");
}

TEST_F(AppHealthRunnerTest, triesTheSameTriggerAgainAfterAFailureOfTheStore) {
    const auto runner = make(60, {}, "7", submitter());
    files.fault = [](std::string_view operation, const std::filesystem::path& path) {
        return operation == "rename" && path.native().contains("pending") ? ENOSPC : 0;
    };
    EXPECT_ANY_THROW(static_cast<void>(runner->runIfNeeded()));
    EXPECT_EQ(stateText(), "none");
    EXPECT_THAT(offered, IsEmpty());
    files.fault = nullptr;
    EXPECT_EQ(runner->runIfNeeded()->trigger, AppHealthTrigger::versionLaunch);
}

TEST_F(AppHealthRunnerTest, submitsTheOldestFirstAndForgetsWhatWasTaken) {
    const auto quiet = make(0);
    for (int run = 0; run < 3; ++run) {
        static_cast<void>(quiet->run(AppHealthTrigger::manual));
        now += 1s;
    }
    accepted = 2;
    make(0, {}, "7", submitter())->flushPending();
    EXPECT_THAT(offered, ElementsAre("2026-11-21T00:00:00.000Z", "2026-11-21T00:00:01.000Z",
                                     "2026-11-21T00:00:02.000Z"));
    ASSERT_THAT(store.pendingReports(), SizeIs(1));
    EXPECT_EQ(store.pendingReports()[0].generatedAt, "2026-11-21T00:00:02.000Z");
    EXPECT_THAT(store.historyReports(), SizeIs(3));
}

TEST_F(AppHealthRunnerTest, stopsAtTheFirstReportThatIsNotTaken) {
    const auto quiet = make(0);
    static_cast<void>(quiet->run(AppHealthTrigger::manual));
    now += 1s;
    accepted = 0;
    static_cast<void>(make(0, {}, "7", submitter())->run(AppHealthTrigger::manual));
    EXPECT_THAT(offered, SizeIs(1));
    EXPECT_THAT(store.pendingReports(), SizeIs(2));
    submitThrows = true;
    accepted = 1000;
    make(0, {}, "7", submitter())->flushPending();
    EXPECT_THAT(offered, SizeIs(2));
    EXPECT_THAT(store.pendingReports(), SizeIs(2));
}

TEST_F(AppHealthRunnerTest, stopsWhenATakenReportCannotBeForgotten) {
    const auto quiet = make(0);
    static_cast<void>(quiet->run(AppHealthTrigger::manual));
    now += 1s;
    static_cast<void>(quiet->run(AppHealthTrigger::manual));
    files.fault = [](std::string_view operation, const std::filesystem::path&) {
        return operation == "remove" ? EROFS : 0;
    };
    make(0, {}, "7", submitter())->flushPending();
    EXPECT_THAT(offered, SizeIs(1));
    EXPECT_THAT(store.pendingReports(), SizeIs(2));
}

TEST_F(AppHealthRunnerTest, leavesReportsPendingWithoutASubmitter) {
    const auto runner = make();
    ASSERT_TRUE(runner->runIfNeeded());
    runner->flushPending();
    EXPECT_THAT(store.pendingReports(), SizeIs(1));
}

TEST_F(AppHealthRunnerTest, neverRunsTwiceAtATime) {
    std::mutex mutex;
    std::condition_variable changed;
    int begun = 0;
    bool isOtherCalling = false;
    bool wereTwoInside = false;
    std::vector<AppHealthCheck> checks;
    // The first run waits until the other thread is about to run as well, and then for it to come
    // in, which it must not: so long as a thread takes from there to its check many times over.
    checks.emplace_back("slow", AppHealthCategory::unit, [&] {
        std::unique_lock lock(mutex);
        ++begun;
        changed.notify_all();
        if (begun == 1) {
            changed.wait(lock, [&] { return isOtherCalling; });
            wereTwoInside = changed.wait_for(lock, 300ms, [&] { return begun == 2; });
        }
        return AppHealthCheck::Outcome(AppHealthStatus::pass, {});
    });
    const auto runner = make(0, std::move(checks));
    std::thread other([&] {
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return begun == 1; });
            isOtherCalling = true;
            changed.notify_all();
        }
        static_cast<void>(runner->run(AppHealthTrigger::manual));
    });
    static_cast<void>(runner->run(AppHealthTrigger::manual));
    other.join();
    EXPECT_FALSE(wereTwoInside);
    EXPECT_EQ(begun, 2);
}

TEST_F(AppHealthRunnerTest, recordsNothingOfARunThatACheckAborted) {
    std::vector<AppHealthCheck> checks;
    checks.emplace_back("first", AppHealthCategory::unit,
                        []() -> AppHealthCheck::Outcome { throw tessel::AppHealthRunAborted(); });
    const auto runner = make(0, std::move(checks));
    EXPECT_THROW(static_cast<void>(runner->run(AppHealthTrigger::manual)),
                 tessel::AppHealthRunAborted);
    EXPECT_THROW(static_cast<void>(runner->runIfNeeded()), tessel::AppHealthRunAborted);
    EXPECT_THAT(store.historyReports(), IsEmpty());
    EXPECT_EQ(store.loadState().lastRunAt, std::nullopt);
}

} // namespace
