#include "mac/Tessel/Health/AppHealthValidator.h"

#include "mac/Tessel/Health/AppHealthJSON.h"
#include "tests/unit/Tessel/HealthDocuments.h"

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace {

using health_documents::Array;
using health_documents::check;
using health_documents::Json;
using health_documents::Object;
using health_documents::report;
using tessel::AppHealthReport;
using tessel::AppHealthValidationError;
using tessel::AppHealthValidator;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using Errors = std::vector<std::string>;

Errors errorsOf(const Object& document) {
    const auto result = AppHealthValidator::validate(boost::json::serialize(document));
    EXPECT_EQ(result.ok, result.errors.empty());
    return result.errors;
}

Object& checkAt(Object& document, std::size_t index) {
    return document["checks"].as_array()[index].as_object();
}
Object& attestationOf(Object& document) {
    return document["attestation"].as_object();
}
Object& receiptOf(Object& document) {
    return attestationOf(document)["receipt"].as_object();
}
Object& metricsOf(Object& document) {
    return document["metrics"].as_object();
}

// One change to a report that has everything, and exactly the messages it draws.
struct Change {
    std::string name;
    std::function<void(Object&)> make;
    Errors expected;
};

template <class Value>
std::function<void(Object&)> set(std::string key, Value value) {
    return [=](Object& document) { document[key] = value; };
}
template <class Value>
std::function<void(Object&)> setInCheck(std::string key, Value value) {
    return [=](Object& document) { checkAt(document, 0)[key] = value; };
}
template <class Value>
std::function<void(Object&)> setInReceipt(std::string key, Value value) {
    return [=](Object& document) { receiptOf(document)[key] = value; };
}
template <class Value>
std::function<void(Object&)> setInAttestation(std::string key, Value value) {
    return [=](Object& document) { attestationOf(document)[key] = value; };
}
template <class Value>
std::function<void(Object&)> setInMetrics(std::string key, Value value) {
    return [=](Object& document) { metricsOf(document)[key] = value; };
}
std::function<void(Object&)> erase(std::string key) {
    return [=](Object& document) { document.erase(key); };
}

std::vector<Change> identityChanges() {
    const std::string appMismatch = "attestation.receipt.app does not match report";
    return {
        {"anUnknownKey", set("note", "text"), {"report has content-bearing fields"}},
        {"aKeyInAnotherCase", set("App", "app"), {"report has content-bearing fields"}},
        {"anotherSchema", set("schemaVersion", "health-report@2"), {"bad schemaVersion"}},
        {"noSchema", erase("schemaVersion"), {"bad schemaVersion"}},
        {"aBadApp", set("app", "App"), {"bad app", appMismatch, "bad logKey"}},
        {"anAppThatIsNoText", set("app", 1), {"bad app", appMismatch, "bad logKey"}},
        {"noApp", erase("app"), {"bad app", appMismatch, "bad logKey"}},
        {"anotherApp", set("app", "other"), {appMismatch, "bad logKey"}},
        {"aBadChannel", set("channel", "Beta"), {"bad channel"}},
        {"noChannel", erase("channel"), {"bad channel"}},
        {"aBadVersion",
         set("version", "1/0"),
         {"bad version", "attestation.receipt.version does not match report"}},
        {"anotherVersion",
         set("version", "9.9"),
         {"attestation.receipt.version does not match report"}},
        {"aBadBuild",
         set("build", "1+2"),
         {"bad build", "attestation.receipt.build does not match report", "bad logKey"}},
        {"noBuild",
         erase("build"),
         {"bad build", "attestation.receipt.build does not match report", "bad logKey"}},
        {"aBadCommit",
         set("sourceCommit", "a b"),
         {"bad sourceCommit", "attestation.receipt.sourceCommit does not match report"}},
        {"anEmptyCommit",
         set("sourceCommit", ""),
         {"attestation.receipt.sourceCommit does not match report"}},
        {"noCommit",
         erase("sourceCommit"),
         {"bad sourceCommit", "attestation.receipt.sourceCommit does not match report"}},
        {"aBadArtifact", set("artifact", "macApp"), {"bad artifact"}},
        {"aBadTrigger", set("trigger", true), {"bad trigger"}},
        {"aBadDate", set("generatedAt", "2026-02-30T00:00:00Z"), {"bad generatedAt"}},
        {"aDateThatIsANumber", set("generatedAt", 1'700'000'000), {"bad generatedAt"}},
        {"aBadStatus", set("status", "ok"), {"bad report status"}},
        {"noStatus", erase("status"), {"bad report status"}},
        {"anotherStatus", set("status", "pass"), {"report status does not match checks"}},
        {"skippedAsAWhole", set("status", "skip"), {"report status does not match checks"}},
        {"aLogKeyOfAnotherKind", set("logKey", Array{}), {"bad logKey"}},
        {"aLogKeyOfAnotherBuild", set("logKey", "health/app/43x/run.json"), {"bad logKey"}},
    };
}

std::vector<Change> checkChanges() {
    return {
        {"aCheckThatIsNoObject",
         [](Object& document) {
             document["checks"].as_array().insert(document["checks"].as_array().begin(), Json(7));
         },
         {"checks[0] not object", "metrics.checks does not match checks"}},
        {"anUnknownKeyInACheck",
         setInCheck("message", "text"),
         {"checks[0] has content-bearing fields"}},
        {"aBadId", setInCheck("id", "a..b"), {"checks[0].id is invalid"}},
        {"anIdThatIsNoText", setInCheck("id", nullptr), {"checks[0].id is invalid"}},
        {"anIdTwice",
         [](Object& document) { checkAt(document, 1)["id"] = checkAt(document, 0)["id"]; },
         {"checks[1].id is duplicated"}},
        {"aBadCategory", setInCheck("category", "Unit"), {"checks[0].category is invalid"}},
        {"aBadCheckStatus",
         setInCheck("status", "passed"),
         {"checks[0].status is invalid", "metrics.passed does not match checks"}},
        {"aFraction",
         setInCheck("durationMs", 1.5),
         {"checks[0].durationMs is invalid", "metrics.totalDurationMs does not match checks"}},
        {"aNegativeDuration",
         setInCheck("durationMs", -1),
         {"checks[0].durationMs is invalid", "metrics.totalDurationMs does not match checks"}},
        {"aBooleanDuration",
         setInCheck("durationMs", true),
         {"checks[0].durationMs is invalid", "metrics.totalDurationMs does not match checks"}},
        {"aDurationInText",
         setInCheck("durationMs", "3"),
         {"checks[0].durationMs is invalid", "metrics.totalDurationMs does not match checks"}},
        {"noMetricsInACheck", setInCheck("metrics", nullptr), {"checks[0].metrics not object"}},
        {"aListOfMetrics", setInCheck("metrics", Array{1}), {"checks[0].metrics not object"}},
        {"aBadMetricKey",
         [](Object& document) { checkAt(document, 0)["metrics"].as_object()["a b"] = 1; },
         {"checks[0].metrics has an invalid key"}},
        {"aTextForAMetric",
         [](Object& document) { checkAt(document, 0)["metrics"].as_object()["ratio"] = "1"; },
         {"checks[0].metrics has an invalid value"}},
        {"aBooleanForAMetric",
         [](Object& document) { checkAt(document, 0)["metrics"].as_object()["ratio"] = true; },
         {"checks[0].metrics has an invalid value"}},
        {"aMetricTooLarge",
         [](Object& document) {
             checkAt(document, 0)["metrics"].as_object()["ratio"] = 1.0000001e12;
         },
         {"checks[0].metrics has an invalid value"}},
        {"twoBadMetrics",
         setInCheck("metrics", Object{{"", 1}, {"x-", nullptr}}),
         {"checks[0].metrics has an invalid key", "checks[0].metrics has an invalid key",
          "checks[0].metrics has an invalid value"}},
    };
}

std::vector<Change> summaryChanges() {
    std::vector<Change> changes{
        {"noSummary",
         set("metrics", nullptr),
         {"metrics not object", "metrics.checks is invalid", "metrics.passed is invalid",
          "metrics.failed is invalid", "metrics.warnings is invalid", "metrics.skipped is invalid",
          "metrics.totalDurationMs is invalid"}},
        {"aFractionOfABundle",
         setInMetrics("bundleBytes", 0.5),
         {"metrics.bundleBytes is invalid"}},
        {"aNegativeBundle", setInMetrics("bundleBytes", -1), {"metrics.bundleBytes is invalid"}},
        {"aBundleOfNull",
         setInMetrics("bundleBytes", nullptr),
         {"metrics has an invalid value", "metrics.bundleBytes is invalid"}},
    };
    for (const std::string key :
         {"checks", "passed", "failed", "warnings", "skipped", "totalDurationMs"}) {
        changes.push_back({"another_" + key,
                           setInMetrics(key, 4321.5),
                           {"metrics." + key + " does not match checks"}});
        changes.push_back({"no_" + key,
                           [key](Object& document) { metricsOf(document).erase(key); },
                           {"metrics." + key + " is invalid"}});
        changes.push_back({"boolean_" + key,
                           setInMetrics(key, true),
                           {"metrics has an invalid value", "metrics." + key + " is invalid"}});
    }
    return changes;
}

std::vector<Change> attestationChanges() {
    const std::string path = "attestation.receipt";
    return {
        {"anAttestationOfText", set("attestation", "yes"), {"attestation must be an object"}},
        {"anUnknownKeyInTheEnvelope",
         setInAttestation("note", 1),
         {"attestation has content-bearing fields"}},
        {"openGates",
         setInAttestation("gatesVerified", false),
         {"attestation.gatesVerified must be true"}},
        {"gatesOfOne",
         setInAttestation("gatesVerified", 1),
         {"attestation.gatesVerified must be true"}},
        {"noSuitesInTheEnvelope",
         setInAttestation("verifiedSuites", nullptr),
         {"attestation.verifiedSuites must contain 1..32 suite ids"}},
        {"emptySuites",
         setInAttestation("verifiedSuites", Array{}),
         {"attestation.verifiedSuites must contain 1..32 suite ids"}},
        {"badSuites",
         setInAttestation("verifiedSuites", Array{"a", "a b", "a", 5, "a"}),
         {"attestation.verifiedSuites[1] is invalid",
          "attestation.verifiedSuites contains a duplicate id",
          "attestation.verifiedSuites[3] is invalid",
          "attestation.verifiedSuites contains a duplicate id"}},
        {"aReceiptOfNull",
         setInAttestation("receipt", nullptr),
         {"attestation.receipt must be an object"}},
        {"anUnknownKeyInTheReceipt",
         setInReceipt("note", 1),
         {path + " has content-bearing fields"}},
        {"anotherReceiptSchema",
         setInReceipt("schemaVersion", "build-attestation@2"),
         {path + ".schemaVersion is invalid"}},
        {"aBadReceiptApp",
         setInReceipt("app", "A"),
         {path + ".app is invalid", path + ".app does not match report"}},
        {"aBadReceiptVersion",
         setInReceipt("version", ""),
         {path + ".version is invalid", path + ".version does not match report"}},
        {"aBadReceiptBuild",
         setInReceipt("build", 42),
         {path + ".build is invalid", path + ".build does not match report"}},
        {"anEmptyReceiptCommit",
         setInReceipt("sourceCommit", ""),
         {path + ".sourceCommit is invalid", path + ".sourceCommit does not match report"}},
        {"anotherReceiptCommit",
         setInReceipt("sourceCommit", "other"),
         {path + ".sourceCommit does not match report"}},
        {"aBadReceiptDate",
         setInReceipt("generatedAt", "2026-01-01T00:00:00.1234567890Z"),
         {path + ".generatedAt is invalid"}},
        {"suitesOfText",
         setInReceipt("verifiedSuites", "unit"),
         {path + ".verifiedSuites must contain 1..32 suite ids"}},
        {"aBadReceiptSuite",
         setInReceipt("verifiedSuites", Array{".unit"}),
         {path + ".verifiedSuites[0] is invalid"}},
    };
}

std::vector<Change> allChanges() {
    std::vector<Change> all;
    for (const auto& some :
         {identityChanges(), checkChanges(), summaryChanges(), attestationChanges()}) {
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

class SingleChange : public testing::TestWithParam<Change> {};

INSTANTIATE_TEST_SUITE_P(AppHealthValidator, SingleChange, testing::ValuesIn(allChanges()),
                         [](const auto& parameter) { return parameter.param.name; });

TEST_P(SingleChange, drawsExactlyItsMessages) {
    auto document = report();
    GetParam().make(document);
    EXPECT_EQ(errorsOf(document), GetParam().expected);
}

TEST_P(SingleChange, drawsTheSameMessagesFromAnyReport) {
    health_documents::Random random(17);
    for (int round = 0; round < 5; ++round) {
        auto document = random.report();
        GetParam().make(document);
        ASSERT_EQ(errorsOf(document), GetParam().expected) << boost::json::serialize(document);
    }
}

TEST(AppHealthValidator, acceptsAReportWithEverything) {
    EXPECT_THAT(errorsOf(report()), IsEmpty());
}

TEST(AppHealthValidator, acceptsRandomReportsAndReadsThemBackToAFixedPoint) {
    health_documents::Random random(18);
    for (int round = 0; round < 40; ++round) {
        const auto text = boost::json::serialize(random.report());
        ASSERT_THAT(AppHealthValidator::validate(text).errors, IsEmpty()) << text;
        const auto decoded = AppHealthValidator::decode(text);
        const auto stored = tessel::AppHealthJSON::storedData(decoded);
        ASSERT_EQ(AppHealthValidator::decode(stored), decoded);
        ASSERT_EQ(tessel::AppHealthJSON::storedData(AppHealthValidator::decode(stored)), stored);
    }
}

TEST(AppHealthValidator, acceptsAReportWithoutItsOptionalParts) {
    auto document = report();
    document.erase("attestation");
    document.erase("logKey");
    metricsOf(document).erase("bundleBytes");
    document["sourceCommit"] = "";
    EXPECT_THAT(errorsOf(document), IsEmpty());
}

TEST(AppHealthValidator, takesNullForAnAbsentAttestationOrLogKey) {
    auto document = report();
    document["attestation"] = nullptr;
    document["logKey"] = nullptr;
    EXPECT_THAT(errorsOf(document), IsEmpty());
    receiptOf(document = report())["verifiedSuites"] = nullptr;
    EXPECT_THAT(errorsOf(document), IsEmpty());
}

TEST(AppHealthValidator, saysWhatIsNoJsonAndWhatIsNoObject) {
    for (const std::string_view text :
         {"", "{", "{} x", "\xff", "[1e400]", R"({"app":1,"app":1})"}) {
        EXPECT_THAT(AppHealthValidator::validate(text).errors,
                    ElementsAre("report is not valid JSON"));
    }
    for (const std::string_view text : {"[]", "1", "null", "\"{}\"", "true"}) {
        EXPECT_THAT(AppHealthValidator::validate(text).errors,
                    ElementsAre("report must be an object"));
    }
}

TEST(AppHealthValidator, findsEverythingWrongWithAnEmptyObject) {
    EXPECT_THAT(AppHealthValidator::validate("{}").errors,
                ElementsAre("bad schemaVersion", "bad app", "bad channel", "bad version",
                            "bad build", "bad sourceCommit", "bad artifact", "bad trigger",
                            "bad generatedAt", "bad report status", "checks not array",
                            "metrics not object", "metrics.checks is invalid",
                            "metrics.passed is invalid", "metrics.failed is invalid",
                            "metrics.warnings is invalid", "metrics.skipped is invalid",
                            "metrics.totalDurationMs is invalid"));
}

TEST(AppHealthValidator, saysThatChecksAreNoArray) {
    auto document = report();
    document["checks"] = Object{};
    EXPECT_THAT(errorsOf(document),
                ElementsAre("checks not array", "report status does not match checks",
                            "metrics.checks does not match checks",
                            "metrics.passed does not match checks",
                            "metrics.failed does not match checks",
                            "metrics.totalDurationMs does not match checks"));
}

Object reportOfChecks(std::size_t count) {
    auto document = report();
    Array checks;
    for (std::size_t index = 0; index < count; ++index) {
        checks.emplace_back(check(fmt::format("c{}", index), "pass", 1));
    }
    document["checks"] = checks;
    document["status"] = "pass";
    document["metrics"] = Object{{"checks", count}, {"passed", count}, {"failed", 0},
                                 {"warnings", 0},   {"skipped", 0},    {"totalDurationMs", count}};
    return document;
}

TEST(AppHealthValidator, takes256ChecksAndExaminesTheRestOfMoreToo) {
    EXPECT_THAT(errorsOf(reportOfChecks(0)), IsEmpty());
    EXPECT_THAT(errorsOf(reportOfChecks(256)), IsEmpty());
    EXPECT_THAT(errorsOf(reportOfChecks(257)), ElementsAre("too many checks"));
    auto document = reportOfChecks(300);
    checkAt(document, 299)["id"] = "c0";
    checkAt(document, 298)["category"] = 1;
    EXPECT_THAT(errorsOf(document),
                ElementsAre("too many checks", "checks[298].category is invalid",
                            "checks[299].id is duplicated"));
}

TEST(AppHealthValidator, findsEveryRepeatedIdentifierOfMoreThan256Checks) {
    for (const std::size_t repeated : {0U, 100U, 255U, 256U, 257U, 298U}) {
        auto document = reportOfChecks(301);
        checkAt(document, 299)["id"] = fmt::format("c{}", repeated);
        checkAt(document, 300)["id"] = fmt::format("c{}", repeated);
        EXPECT_THAT(errorsOf(document),
                    ElementsAre("too many checks", "checks[299].id is duplicated",
                                "checks[300].id is duplicated"))
            << repeated;
    }
}

TEST(AppHealthValidator, takes32MetricsAndExaminesTheRestOfMoreToo) {
    auto document = report();
    auto& metrics = checkAt(document, 0)["metrics"].as_object();
    metrics.clear();
    for (int index = 0; index < 32; ++index) {
        metrics[fmt::format("m{}", index)] = index;
    }
    EXPECT_THAT(errorsOf(document), IsEmpty());
    metrics["last"] = true;
    EXPECT_THAT(errorsOf(document), ElementsAre("checks[0].metrics has too many keys",
                                                "checks[0].metrics has an invalid value"));
}

TEST(AppHealthValidator, takesAnyKeyAmongTheSummaryMetrics) {
    auto document = report();
    metricsOf(document)["Extra.value"] = -1.5;
    EXPECT_THAT(errorsOf(document), IsEmpty());
}

TEST(AppHealthValidator, takes32Suites) {
    auto document = report();
    auto& suites = attestationOf(document)["verifiedSuites"].as_array();
    suites.clear();
    for (int index = 0; index < 32; ++index) {
        suites.emplace_back(fmt::format("suite{}", index));
    }
    EXPECT_THAT(errorsOf(document), IsEmpty());
    suites.emplace_back("one.more");
    attestationOf(document)["gatesVerified"] = false;
    EXPECT_THAT(errorsOf(document),
                ElementsAre("attestation.gatesVerified must be true",
                            "attestation.verifiedSuites must contain 1..32 suite ids"));
}

TEST(AppHealthValidator, readsAnAttestationWithoutAReceiptAsABareOne) {
    auto document = report();
    document["attestation"] = health_documents::receipt();
    EXPECT_THAT(errorsOf(document), IsEmpty());
    attestationOf(document)["gatesVerified"] = true;
    EXPECT_THAT(errorsOf(document), ElementsAre("attestation has content-bearing fields"));
    document["sourceCommit"] = "";
    EXPECT_THAT(errorsOf(document), ElementsAre("attestation has content-bearing fields",
                                                "attestation.sourceCommit does not match report"));
}

TEST(AppHealthValidator, findsEverythingWrongWithAnEmptyAttestation) {
    auto document = report();
    document["attestation"] = Object{};
    EXPECT_THAT(errorsOf(document),
                ElementsAre("attestation.schemaVersion is invalid", "attestation.app is invalid",
                            "attestation.version is invalid", "attestation.build is invalid",
                            "attestation.sourceCommit is invalid",
                            "attestation.generatedAt is invalid",
                            "attestation.app does not match report",
                            "attestation.version does not match report",
                            "attestation.build does not match report",
                            "attestation.sourceCommit does not match report"));
}

std::string withDuration(std::string_view text) {
    auto document = reportOfChecks(1);
    document.erase("attestation");
    checkAt(document, 0)["durationMs"] = "@";
    auto serialized = boost::json::serialize(document);
    const std::string quoted = "\"@\"";
    return serialized.replace(serialized.find(quoted), quoted.size(), text);
}

TEST(AppHealthValidator, takesEveryWayToWriteAWholeNumber) {
    for (const std::string_view text :
         {"1", "1.0", "1e0", "10e-1", "0.1E1", "1.000000000000000000"}) {
        EXPECT_THAT(AppHealthValidator::validate(withDuration(text)).errors, IsEmpty()) << text;
        EXPECT_EQ(AppHealthValidator::decode(withDuration(text)).checks[0].durationMs, 1);
    }
    const std::string invalid = "checks[0].durationMs is invalid";
    for (const std::string_view text : {"0", "-0", "-0.0", "0e5", "1e12", "1000000000000.0"}) {
        EXPECT_THAT(AppHealthValidator::validate(withDuration(text)).errors, Not(Contains(invalid)))
            << text;
    }
    for (const std::string_view text : {"1000000000001", "1e13", "9007199254740993", "1e300", "0.5",
                                        "1e-1", "-1", "true", "null", "\"1\"", "[1]"}) {
        EXPECT_THAT(AppHealthValidator::validate(withDuration(text)).errors, Contains(invalid))
            << text;
    }
}

TEST(AppHealthValidator, takesMetricsUpToATrillionEitherWay) {
    for (const double number : {-5.0, 1e12, -1e12, 0.1, -0.0, 5e-324}) {
        auto document = report();
        checkAt(document, 0)["metrics"] = Object{{"x", number}};
        EXPECT_THAT(errorsOf(document), IsEmpty()) << number;
    }
    for (const double number : {1.0000001e12, -1.0000001e12, 1e300}) {
        auto document = report();
        checkAt(document, 0)["metrics"] = Object{{"x", number}};
        EXPECT_THAT(errorsOf(document), ElementsAre("checks[0].metrics has an invalid value"));
    }
}

TEST(AppHealthValidator, rejectsATotalBeyondATrillion) {
    auto document = reportOfChecks(2);
    for (const std::size_t index : {0U, 1U}) {
        checkAt(document, index)["durationMs"] = 1e12;
    }
    metricsOf(document)["totalDurationMs"] = 2e12;
    EXPECT_THAT(errorsOf(document), ElementsAre("metrics has an invalid value"));
}

TEST(AppHealthValidator, findsKeysThatAreWrittenWithEscapes) {
    auto text = boost::json::serialize(report());
    text.replace(text.find("\"channel\""), 9, "\"chann\\u0065l\"");
    EXPECT_THAT(AppHealthValidator::validate(text).errors, IsEmpty());
    text.insert(1, R"("channel":"beta",)");
    EXPECT_THAT(AppHealthValidator::validate(text).errors, ElementsAre("report is not valid JSON"));
}

TEST(AppHealthValidator, decodesWhatItAccepts) {
    const auto decoded = AppHealthValidator::decode(boost::json::serialize(report()));
    EXPECT_EQ(decoded.schemaVersion, "health-report@1");
    EXPECT_EQ(decoded.app, "app");
    EXPECT_EQ(decoded.channel, tessel::AppHealthChannel::beta);
    EXPECT_EQ(decoded.version, "1.0.0+build-5");
    EXPECT_EQ(decoded.build, "42");
    EXPECT_EQ(decoded.sourceCommit, "c0ffee");
    EXPECT_EQ(decoded.artifact, tessel::AppHealthArtifact::macApp);
    EXPECT_EQ(decoded.trigger, tessel::AppHealthTrigger::periodic);
    EXPECT_EQ(decoded.generatedAt, "2026-01-02T03:04:05.678Z");
    EXPECT_EQ(decoded.status, tessel::AppHealthStatus::fail);
    ASSERT_EQ(decoded.checks.size(), 2U);
    EXPECT_EQ(decoded.checks[0], (tessel::AppHealthCheckResult{
                                     .id = "first.check",
                                     .category = tessel::AppHealthCategory::smoke,
                                     .status = tessel::AppHealthStatus::pass,
                                     .durationMs = 3,
                                     .metrics = {{"ratio", 0.25}, {"Delta.x", -5}},
                                 }));
    EXPECT_EQ(decoded.metrics.at("bundleBytes"), 1000);
    EXPECT_EQ(decoded.logKey, "health/app/42/run.json");
    ASSERT_TRUE(decoded.attestation);
    const auto& envelope =
        std::get<tessel::AppHealthAttestationEnvelope>(decoded.attestation->content);
    EXPECT_TRUE(envelope.gatesVerified);
    EXPECT_THAT(envelope.verifiedSuites, ElementsAre("gate"));
    EXPECT_EQ(envelope.receipt.verifiedSuites, (std::vector<std::string>{"unit", "smoke.Web"}));
}

TEST(AppHealthValidator, decodesMetricsInAnyOrder) {
    for (const std::string_view text : {R"({"a":1,"b.two":2,"c":3})", R"({"c":3,"b.two":2,"a":1})",
                                        R"({"b.two":2,"a":1,"c":3})"}) {
        auto document = report();
        checkAt(document, 0)["metrics"] = boost::json::parse({text.data(), text.size()});
        const auto decoded = AppHealthValidator::decode(boost::json::serialize(document));
        EXPECT_EQ(decoded.checks[0].metrics,
                  (tessel::AppHealthMetrics{{"a", 1}, {"b.two", 2}, {"c", 3}}));
    }
}

TEST(AppHealthValidator, throwsAllMessagesInsteadOfDecoding) {
    auto document = report();
    document["channel"] = "x";
    document["trigger"] = "y";
    try {
        (void)AppHealthValidator::decode(boost::json::serialize(document));
        FAIL() << "nothing was thrown";
    } catch (const AppHealthValidationError& error) {
        EXPECT_THAT(error.errors(), ElementsAre("bad channel", "bad trigger"));
        EXPECT_STREQ(error.what(), "health-report validation failed: bad channel; bad trigger");
    }
}

TEST(AppHealthValidator, judgesAReportValueByWhatWouldBeWritten) {
    auto decoded = AppHealthValidator::decode(boost::json::serialize(report()));
    EXPECT_TRUE(AppHealthValidator::validate(decoded).ok);
    decoded.checks[1].id = decoded.checks[0].id;
    EXPECT_THAT(AppHealthValidator::validate(decoded).errors,
                ElementsAre("checks[1].id is duplicated"));
    decoded.checks[1].metrics["x"] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THAT(AppHealthValidator::validate(decoded).errors,
                ElementsAre("report is not JSON encodable"));
    decoded = AppHealthReport();
    decoded.app = "\xff";
    EXPECT_THAT(AppHealthValidator::validate(decoded).errors,
                ElementsAre("report is not JSON encodable"));
}

TEST(AppHealthValidator, decodesAReceiptThatStandsAlone) {
    const auto receipt =
        AppHealthValidator::decodeReceipt(boost::json::serialize(health_documents::receipt()));
    ASSERT_TRUE(receipt);
    EXPECT_EQ(receipt->build, "42");
    auto withoutSuites = health_documents::receipt();
    withoutSuites.erase("verifiedSuites");
    EXPECT_EQ(
        AppHealthValidator::decodeReceipt(boost::json::serialize(withoutSuites))->verifiedSuites,
        std::nullopt);
}

TEST(AppHealthValidator, answersNothingForWhatIsNoReceipt) {
    auto unknownKey = health_documents::receipt();
    unknownKey["note"] = 1;
    auto emptyCommit = health_documents::receipt();
    emptyCommit["sourceCommit"] = "";
    auto badSuites = health_documents::receipt();
    badSuites["verifiedSuites"] = Array{};
    const Object envelope{{"gatesVerified", true},
                          {"verifiedSuites", Array{"gate"}},
                          {"receipt", health_documents::receipt()}};
    for (const auto& document : {unknownKey, emptyCommit, badSuites, envelope, Object{}}) {
        EXPECT_FALSE(AppHealthValidator::decodeReceipt(boost::json::serialize(document)));
    }
    for (const std::string_view text : {"", "{", "[]", "null"}) {
        EXPECT_FALSE(AppHealthValidator::decodeReceipt(text));
    }
}

TEST(AppHealthValidator, isNeverStoppedByHostileDocuments) {
    auto document = report();
    const std::string text = boost::json::serialize(document);
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (const char replacement : {'\0', '"', '{', ']', ',', '9', '\xff', '\\'}) {
            auto changed = text;
            changed[at] = replacement;
            const auto result = AppHealthValidator::validate(changed);
            if (result.ok) {
                EXPECT_NO_THROW((void)AppHealthValidator::decode(changed)) << changed;
            }
        }
    }
}

TEST(AppHealthValidator, hasAMessageForEachOfManyThousandWrongChecks) {
    std::string text = R"({"checks":[0)";
    for (int index = 0; index < 50'000; ++index) {
        text += ",0";
    }
    const auto result = AppHealthValidator::validate(text + "]}");
    EXPECT_THAT(result.errors, Contains("too many checks"));
    EXPECT_THAT(result.errors, Contains("checks[50000] not object"));
}

} // namespace
