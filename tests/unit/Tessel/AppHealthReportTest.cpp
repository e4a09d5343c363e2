#include "mac/Tessel/Health/AppHealthReport.h"

#include "mac/Tessel/Health/AppHealthDecoding.h"
#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/AppHealthValidationError.h"
#include "mac/Tessel/Health/AppHealthValidator.h"
#include "tests/unit/Tessel/HealthDocuments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <string>

namespace {

using namespace std::chrono_literals;
using tessel::AppHealthCategory;
using tessel::AppHealthCheckResult;
using tessel::AppHealthJSON;
using tessel::AppHealthMetrics;
using tessel::AppHealthReport;
using tessel::AppHealthStatus;
using tessel::AppHealthValidationError;
using tessel::AppHealthValidator;
using tessel::StrictJson;
using testing::ElementsAre;

AppHealthReport::Input input() {
    return {.app = "app", .version = "1.0", .build = "7", .sourceCommit = ""};
}

AppHealthCheckResult result(std::string id, AppHealthStatus status, std::int64_t durationMs = 1) {
    return {.id = std::move(id), .status = status, .durationMs = durationMs};
}

tessel::AppBuildAttestation receipt() {
    return {"build-attestation@1", "app", "1.0", "7", "c0ffee", tessel::Timestamp(1ms), {}};
}

template <class Action>
std::vector<std::string> errorsThrownBy(Action action) {
    try {
        action();
    } catch (const AppHealthValidationError& error) {
        return error.errors();
    }
    return {"(nothing thrown)"};
}

TEST(AppHealthReport, withoutChecksPasses) {
    const AppHealthReport report(input());
    EXPECT_EQ(report.schemaVersion, "health-report@1");
    EXPECT_EQ(report.status, AppHealthStatus::pass);
    EXPECT_EQ(report.metrics, (AppHealthMetrics{{"checks", 0},
                                                {"passed", 0},
                                                {"failed", 0},
                                                {"warnings", 0},
                                                {"skipped", 0},
                                                {"totalDurationMs", 0}}));
}

TEST(AppHealthReport, ofSkippedChecksPasses) {
    auto made = input();
    made.checks = {result("a", AppHealthStatus::skip), result("b", AppHealthStatus::skip)};
    const AppHealthReport report(made);
    EXPECT_EQ(report.status, AppHealthStatus::pass);
    EXPECT_EQ(report.metrics.at("skipped"), 2);
}

TEST(AppHealthReport, isAsBadAsItsWorstCheck) {
    const auto pass = result("a", AppHealthStatus::pass);
    const auto warning = result("b", AppHealthStatus::warning);
    const auto fail = result("c", AppHealthStatus::fail);
    const auto skip = result("d", AppHealthStatus::skip);
    const auto rollup = [](std::vector<AppHealthCheckResult> checks) {
        return AppHealthReport::rollup(checks);
    };
    EXPECT_EQ(rollup({}), AppHealthStatus::pass);
    EXPECT_EQ(rollup({pass, skip}), AppHealthStatus::pass);
    EXPECT_EQ(rollup({pass, warning, skip}), AppHealthStatus::warning);
    EXPECT_EQ(rollup({fail, warning, pass}), AppHealthStatus::fail);
    EXPECT_EQ(rollup({skip, warning, fail}), AppHealthStatus::fail);
}

TEST(AppHealthReport, countsItsChecks) {
    const std::vector<AppHealthCheckResult> checks{
        result("a", AppHealthStatus::pass, 1), result("b", AppHealthStatus::warning, 10),
        result("c", AppHealthStatus::fail, 100), result("d", AppHealthStatus::skip, 1000),
        result("e", AppHealthStatus::pass, 0)};
    AppHealthMetrics expected{{"checks", 5},   {"passed", 2},  {"failed", 1},
                              {"warnings", 1}, {"skipped", 1}, {"totalDurationMs", 1111}};
    EXPECT_EQ(AppHealthReport::summary(checks, std::nullopt), expected);
    expected["bundleBytes"] = 0;
    EXPECT_EQ(AppHealthReport::summary(checks, 0), expected);
}

TEST(AppHealthReport, addsUpImpossibleDurationsWithoutOverflow) {
    constexpr auto longest = std::numeric_limits<std::int64_t>::max();
    const std::vector<AppHealthCheckResult> checks{result("a", AppHealthStatus::pass, longest),
                                                   result("b", AppHealthStatus::pass, longest)};
    EXPECT_GT(AppHealthReport::summary(checks, {}).at("totalDurationMs"), 1.8e19);
}

TEST(AppHealthReport, writesItsDateWithMilliseconds) {
    auto made = input();
    made.generatedAt = tessel::Timestamp(1'700'000'000'005ms);
    EXPECT_EQ(AppHealthReport(made).generatedAt, "2023-11-14T22:13:20.005Z");
    made.generatedAt = "2026-01-02T03:04:05Z";
    EXPECT_EQ(AppHealthReport(made).generatedAt, "2026-01-02T03:04:05Z");
}

TEST(AppHealthReport, isNotMadeWhenItWouldBeInvalid) {
    auto made = input();
    made.app = "App";
    made.generatedAt = "yesterday";
    made.logKey = "x";
    made.checks = {result("a", AppHealthStatus::pass, -1)};
    EXPECT_THAT(errorsThrownBy([&] { (void)AppHealthReport(made); }),
                ElementsAre("bad app", "bad generatedAt", "checks[0].durationMs is invalid",
                            "metrics.totalDurationMs does not match checks", "bad logKey"));
}

TEST(AppHealthReport, refusesADateOutsideFourDigitYears) {
    auto made = input();
    made.generatedAt = tessel::Timestamp::max();
    EXPECT_THAT(errorsThrownBy([&] { (void)AppHealthReport(made); }),
                ElementsAre("bad generatedAt"));
}

TEST(AppHealthReport, refusesNegativeBundles) {
    auto made = input();
    made.bundleBytes = -1;
    EXPECT_THAT(errorsThrownBy([&] { (void)AppHealthReport(made); }),
                ElementsAre("metrics.bundleBytes is invalid"));
}

TEST(AppHealthReport, withAnEmptyCommitCarriesNoAttestation) {
    auto made = input();
    made.attestation = tessel::AppHealthAttestation::receipt(receipt());
    EXPECT_THAT(errorsThrownBy([&] { (void)AppHealthReport(made); }),
                ElementsAre("attestation.sourceCommit does not match report"));
    made.sourceCommit = "c0ffee";
    EXPECT_NO_THROW((void)AppHealthReport(made));
}

TEST(AppHealthReport, isEqualFieldByField) {
    auto made = input();
    made.sourceCommit = "c0ffee";
    made.attestation = tessel::AppHealthAttestation::receipt(receipt());
    const AppHealthReport report(made);
    auto other = report;
    EXPECT_EQ(other, report);
    other.attestation = tessel::AppHealthAttestation::wrapper(
        {.gatesVerified = true, .verifiedSuites = {"a"}, .receipt = receipt()});
    EXPECT_NE(other, report);
}

TEST(AppHealthValidationError, joinsItsMessages) {
    EXPECT_STREQ(AppHealthValidationError({"a", "b"}).what(),
                 "health-report validation failed: a; b");
    EXPECT_STREQ(AppHealthValidationError({}).what(), "health-report validation failed: ");
}

TEST(AppHealthCheckDeathTest, withABadIdEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(tessel::AppHealthCheck("a..b", AppHealthCategory::unit, {}), "stable identifier");
    EXPECT_EQ(tessel::AppHealthCheck("a.b", AppHealthCategory::eval, {}).id, "a.b");
}

TEST(AppHealthJSON, writesSortedKeysAndOneLineFeed) {
    auto made = input();
    made.generatedAt = "2026-01-02T03:04:05Z";
    made.checks = {{.id = "c",
                    .category = AppHealthCategory::eval,
                    .status = AppHealthStatus::warning,
                    .durationMs = 12,
                    .metrics = {{"b", 0.5}, {"a", 1e12}}}};
    EXPECT_EQ(AppHealthJSON::storedData(AppHealthReport(made)), R"({
  "app": "app",
  "artifact": "mac-app",
  "build": "7",
  "channel": "release",
  "checks": [
    {
      "category": "eval",
      "durationMs": 12,
      "id": "c",
      "metrics": {
        "a": 1000000000000,
        "b": 0.5
      },
      "status": "warning"
    }
  ],
  "generatedAt": "2026-01-02T03:04:05Z",
  "metrics": {
    "checks": 1,
    "failed": 0,
    "passed": 0,
    "skipped": 0,
    "totalDurationMs": 12,
    "warnings": 1
  },
  "schemaVersion": "health-report@1",
  "sourceCommit": "",
  "status": "warning",
  "trigger": "manual",
  "version": "1.0"
}
)");
}

TEST(AppHealthJSON, leavesOutWhatIsAbsent) {
    auto made = input();
    made.sourceCommit = "c0ffee";
    const auto bare = *AppHealthJSON::encoded(AppHealthReport(made));
    for (const auto* key : {"attestation", "logKey", "bundleBytes", "null"}) {
        EXPECT_EQ(bare.find(key), std::string::npos) << key;
    }
    made.attestation = tessel::AppHealthAttestation::receipt(receipt());
    const auto attested = *AppHealthJSON::encoded(AppHealthReport(made));
    EXPECT_NE(attested.find("attestation"), std::string::npos);
    EXPECT_EQ(attested.find("verifiedSuites"), std::string::npos);
    EXPECT_EQ(AppHealthJSON::encoded(receipt()),
              R"({"app":"app","build":"7","generatedAt":"1970-01-01T00:00:00.001Z",)"
              R"("schemaVersion":"build-attestation@1","sourceCommit":"c0ffee","version":"1.0"})");
}

TEST(AppHealthJSON, writesBothKindsOfAttestationWithoutATag) {
    auto made = input();
    made.sourceCommit = "c0ffee";
    for (const auto& attestation :
         {tessel::AppHealthAttestation::receipt(receipt()),
          tessel::AppHealthAttestation::wrapper(
              {.gatesVerified = true, .verifiedSuites = {"a"}, .receipt = receipt()})}) {
        made.attestation = attestation;
        const AppHealthReport report(made);
        EXPECT_EQ(AppHealthValidator::decode(AppHealthJSON::storedData(report)), report);
    }
}

TEST(AppHealthJSON, keepsMetricsOfEverySizeThroughAStore) {
    auto made = input();
    made.checks = {result("c", AppHealthStatus::pass)};
    made.checks[0].metrics = {{"zero", -0.0},
                              {"tenth", 0.1},
                              {"sum", 0.1 + 0.2},
                              {"tiny", 5e-324},
                              {"large", 999999999999.9},
                              {"whole", 123456789}};
    const AppHealthReport report(made);
    const auto stored = AppHealthJSON::storedData(report);
    const auto decoded = AppHealthValidator::decode(stored);
    EXPECT_EQ(decoded, report);
    EXPECT_EQ(AppHealthJSON::storedData(decoded), stored);
}

TEST(AppHealthJSON, storesNothingInvalid) {
    AppHealthReport report(input());
    report.status = AppHealthStatus::fail;
    EXPECT_THAT(errorsThrownBy([&] { (void)AppHealthJSON::storedData(report); }),
                ElementsAre("report status does not match checks"));
    report.metrics["x"] = std::numeric_limits<double>::infinity();
    EXPECT_THAT(errorsThrownBy([&] { (void)AppHealthJSON::storedData(report); }),
                ElementsAre("report is not JSON encodable"));
}

TEST(AppHealthJSON, writesStateOnOneLineWithSortedKeys) {
    EXPECT_EQ(
        AppHealthJSON::stateData(boost::json::object{
            {"lastVersionBuild", "1.0:7"},
            {"lastRunAt", tessel::formatTimestampWithoutFraction(tessel::Timestamp(1'999ms))}}),
        R"({"lastRunAt":"1970-01-01T00:00:01Z","lastVersionBuild":"1.0:7"})");
    EXPECT_THROW((void)AppHealthJSON::stateData("\xff"), AppHealthValidationError);
}

// What reading one object strictly ends in: "ok", or the message thrown.
template <class Decoder>
std::string outcome(Decoder decoder, const boost::json::object& document) {
    const auto text = boost::json::serialize(document);
    const auto tree = StrictJson::parse(text);
    try {
        (void)decoder(tree->root());
    } catch (const AppHealthValidationError& error) {
        return error.errors().at(0);
    }
    return "ok";
}

TEST(AppHealthDecoding, rejectsUnknownKeysUnderTheirDescription) {
    using tessel::AppHealthDecoding;
    auto check = health_documents::check("a", "pass", 1);
    EXPECT_EQ(outcome(AppHealthDecoding::checkResult, check), "ok");
    check["note"] = 1;
    EXPECT_EQ(outcome(AppHealthDecoding::checkResult, check), "check has content-bearing fields");

    auto built = health_documents::receipt();
    EXPECT_EQ(outcome(AppHealthDecoding::attestation, built), "ok");
    built["note"] = 1;
    EXPECT_EQ(outcome(AppHealthDecoding::attestation, built),
              "attestation receipt has content-bearing fields");

    auto envelope = health_documents::report().at("attestation").as_object();
    EXPECT_EQ(outcome(AppHealthDecoding::attestation, envelope), "ok");
    envelope["note"] = 1;
    EXPECT_EQ(outcome(AppHealthDecoding::attestation, envelope),
              "attestation has content-bearing fields");
}

TEST(AppHealthDecoding, readsAReceiptOrAnEnvelopeByTheReceiptKey) {
    const auto kind = [](const boost::json::object& document) {
        const auto text = boost::json::serialize(document);
        const auto tree = StrictJson::parse(text);
        return tessel::AppHealthDecoding::attestation(tree->root()).content.index();
    };
    EXPECT_EQ(kind(health_documents::receipt()), 0U);
    EXPECT_EQ(kind(health_documents::report().at("attestation").as_object()), 1U);
}

TEST(AppHealthDecoding, rejectsFieldsThatAreMissingOrOfAnotherType) {
    using tessel::AppHealthDecoding;
    for (const auto* key : {"id", "category", "status", "durationMs", "metrics"}) {
        const auto expected = std::string("check.") + key + " is invalid";
        auto check = health_documents::check("a", "pass", 1);
        check[key] = nullptr;
        EXPECT_EQ(outcome(AppHealthDecoding::checkResult, check), expected);
        check.erase(key);
        EXPECT_EQ(outcome(AppHealthDecoding::checkResult, check), expected);
    }
    auto check = health_documents::check("a", "pass", 1.5);
    EXPECT_EQ(outcome(AppHealthDecoding::checkResult, check), "check.durationMs is invalid");
    for (const auto& [key, value] : health_documents::report()) {
        if (key != "attestation" && key != "logKey") {
            auto document = health_documents::report();
            document.erase(key);
            EXPECT_EQ(outcome(AppHealthDecoding::report, document),
                      "report." + std::string(key) + " is invalid");
        }
    }
}

TEST(AnyCodingKey, listsTheKeysOfAnObjectInTheirOrder) {
    const auto tree = StrictJson::parse(R"({"b":1,"-12":2,"a\u0062":3,"1x":4})");
    ASSERT_TRUE(tree);
    using tessel::AnyCodingKey;
    const auto keys = AnyCodingKey::keysOf(tree->root());
    EXPECT_THAT(keys, ElementsAre(AnyCodingKey("b"), AnyCodingKey(-12), AnyCodingKey("ab"),
                                  AnyCodingKey("1x")));
    EXPECT_EQ(keys[1].intValue, -12);
    EXPECT_EQ(keys[3].intValue, std::nullopt);
}

} // namespace
