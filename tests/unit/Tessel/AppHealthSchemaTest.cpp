#include "mac/Tessel/Health/AppHealthSchema.h"

#include "mac/Tessel/Health/AppHealthEnumerations.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <unordered_set>

namespace {

using Schema = tessel::AppHealthSchema;

std::string letters(std::size_t count) {
    return std::string(count, 'a');
}

TEST(AppHealthSchema, knowsApps) {
    for (const std::string& text : {std::string("a"), std::string("0"), std::string("a_-"),
                                    std::string("a--__0"), letters(39)}) {
        EXPECT_TRUE(Schema::validApp(text)) << text;
    }
    for (const std::string& text :
         {std::string(), std::string("A"), std::string("-a"), std::string("_a"), std::string("a.b"),
          std::string("a b"), std::string("aB"), std::string("\u00e9"), std::string("a\u00e9"),
          std::string("a\0", 2), letters(40)}) {
        EXPECT_FALSE(Schema::validApp(text)) << text;
    }
}

TEST(AppHealthSchema, knowsStableIds) {
    for (const std::string& text :
         {std::string("a"), std::string("7"), std::string("a.b-c_d"), letters(80)}) {
        EXPECT_TRUE(Schema::validStableID(text)) << text;
    }
    for (const std::string& text :
         {std::string(), std::string("A"), std::string("a..b"), std::string("a.-b"),
          std::string("a-"), std::string("a."), std::string("a_"), std::string(".a"),
          std::string("-"), std::string("a b"), std::string("a+b"), std::string("a/b"),
          std::string("a\u00e9"), letters(81)}) {
        EXPECT_FALSE(Schema::validStableID(text)) << text;
    }
}

TEST(AppHealthSchema, knowsMetricKeys) {
    for (const std::string& text : {std::string("A"), std::string("aB.c-D_9"), letters(79) + "Z"}) {
        EXPECT_TRUE(Schema::validMetricKey(text)) << text;
    }
    for (const std::string& text : {std::string(), std::string("A__b"), std::string("A-"),
                                    std::string("_a"), std::string("a:b"), letters(81)}) {
        EXPECT_FALSE(Schema::validMetricKey(text)) << text;
    }
}

TEST(AppHealthSchema, seesEveryByteOfANameWhereverItIs) {
    for (const std::size_t length : {1U, 2U, 7U, 8U, 9U, 15U, 16U, 17U, 24U, 31U, 80U}) {
        for (std::size_t at = 0; at < length; ++at) {
            for (int byte = 0; byte < 256; ++byte) {
                const auto character = static_cast<char>(byte);
                std::string text = letters(length);
                text[at] = character;
                const bool isUpper = character >= 'A' && character <= 'Z';
                const bool isPlain = (character >= 'a' && character <= 'z') ||
                                     (character >= '0' && character <= '9');
                const bool isSeparator = character == '-' || character == '.' || character == '_';
                const bool valid = isPlain || (isSeparator && at > 0 && at + 1 < length);
                ASSERT_EQ(Schema::validStableID(text), valid) << length << ' ' << at << ' ' << byte;
                ASSERT_EQ(Schema::validMetricKey(text), valid || isUpper)
                    << length << ' ' << at << ' ' << byte;
            }
        }
        for (std::size_t at = 1; at + 2 < length; ++at) {
            std::string text = letters(length);
            text.replace(at, 2, "-.");
            ASSERT_FALSE(Schema::validMetricKey(text)) << text;
        }
    }
}

TEST(AppHealthSchema, knowsVersionsBuildsAndCommits) {
    EXPECT_TRUE(Schema::validVersion("1.0.0+build-5"));
    EXPECT_TRUE(Schema::validVersion("A..--++__"));
    EXPECT_TRUE(Schema::validVersion(letters(80)));
    EXPECT_FALSE(Schema::validVersion(letters(81)));
    EXPECT_FALSE(Schema::validVersion(""));
    EXPECT_FALSE(Schema::validVersion(".1"));
    EXPECT_FALSE(Schema::validVersion("1:0"));
    EXPECT_TRUE(Schema::validBuild("1._-"));
    EXPECT_TRUE(Schema::validBuild(letters(64)));
    EXPECT_FALSE(Schema::validBuild("1+2"));
    EXPECT_FALSE(Schema::validBuild(letters(65)));
    EXPECT_TRUE(Schema::validSourceCommit(letters(128)));
    EXPECT_FALSE(Schema::validSourceCommit(letters(129)));
    EXPECT_FALSE(Schema::validSourceCommit("a+b"));
    EXPECT_FALSE(Schema::validSourceCommit(""));
}

TEST(AppHealthSchema, countsBytesNotCharacters) {
    EXPECT_FALSE(Schema::validBoundedIdentity("a\u00e9", 80, ".+_-"));
    EXPECT_TRUE(Schema::validBoundedIdentity("a!", 2, "!"));
    EXPECT_FALSE(Schema::validBoundedIdentity("a!!", 2, "!"));
    EXPECT_FALSE(Schema::validBoundedIdentity("!", 2, "!"));
}

TEST(AppHealthSchema, knowsTheShapeOfATimestamp) {
    EXPECT_TRUE(Schema::validTimestampShape("2026-01-02T03:04:05Z"));
    EXPECT_TRUE(Schema::validTimestampShape("2026-13-99T99:99:99Z"));
    std::string text = "2026-01-02T03:04:05.";
    EXPECT_FALSE(Schema::validTimestampShape(text + "Z")) << "21 bytes";
    for (int digits = 1; digits <= 9; ++digits) {
        text += '9';
        EXPECT_TRUE(Schema::validTimestampShape(text + "Z")) << text;
        EXPECT_TRUE(Schema::validTimestamp(text + "Z")) << text;
    }
    EXPECT_EQ(text.size() + 1, 30U);
    EXPECT_FALSE(Schema::validTimestampShape(text + "9Z"));
    EXPECT_FALSE(Schema::validTimestampShape("2026-01-02T03:04:05:5Z"));
}

TEST(AppHealthSchema, seesEveryWrongByteOfATimestamp) {
    const std::string good = "2026-01-02T03:04:05.678Z";
    ASSERT_TRUE(Schema::validTimestamp(good));
    for (std::size_t at = 0; at < good.size(); ++at) {
        for (const char wrong : {'x', ' ', 'z', '/', ':', '-', '.'}) {
            if (good[at] != wrong) {
                auto text = good;
                text[at] = wrong;
                EXPECT_FALSE(Schema::validTimestamp(text)) << text;
            }
        }
    }
}

TEST(AppHealthSchema, takesOnlyDatesOfTheCalendar) {
    EXPECT_TRUE(Schema::validTimestamp("2024-02-29T23:59:59Z"));
    for (const std::string_view text :
         {"", "2026-02-30T00:00:00Z", "2026-13-01T00:00:00Z", "2026-01-01T24:00:00Z",
          "2026-12-31T23:59:60Z", "2026-01-01T00:00:00z", "2026-01-01 00:00:00Z",
          "2026-01-01T00:00:00+00:00"}) {
        EXPECT_FALSE(Schema::validTimestamp(text)) << text;
    }
}

TEST(AppHealthSchema, knowsLogKeys) {
    EXPECT_TRUE(Schema::validLogKey("health/app/42/run.json", "app", "42"));
    EXPECT_TRUE(Schema::validLogKey("health/app/42/2026-01-02T03:04:05+x_.json", "app", "42"));
    EXPECT_TRUE(Schema::validLogKey("health/app/42/" + letters(64) + ".json", "app", "42"));
    EXPECT_TRUE(Schema::validLogKey("health/app/42/.json.json", "app", "42"));
    for (const std::string& key :
         {std::string(), std::string("health/app/42/run.txt"),
          std::string("health/app/43/run.json"), std::string("health/other/42/run.json"),
          std::string("Health/app/42/run.json"), std::string("health/app/42/.json"),
          std::string("health/app/42/json"), std::string("health/app/42/a/run.json"),
          std::string("health/app/42//run.json"), std::string("health//app/42/run.json"),
          std::string("/health/app/42/run.json"), std::string("health/app/42/run.json/"),
          std::string("health/app/42/a b.json"), std::string("health/app/run.json"),
          std::string("health/app/42/run.JSON"), std::string("health/app/42/\u00e9.json"),
          "health/app/42/" + letters(65) + ".json"}) {
        EXPECT_FALSE(Schema::validLogKey(key, "app", "42")) << key;
    }
    EXPECT_FALSE(Schema::validLogKey("health/App/42/run.json", "App", "42"));
    EXPECT_FALSE(Schema::validLogKey("health/app/4+2/run.json", "app", "4+2"));
    EXPECT_FALSE(Schema::validLogKey("health/a/b/42/run.json", "a/b", "42"));
    EXPECT_FALSE(Schema::validLogKey("health///run.json", "", ""));
}

TEST(AppHealthSchema, boundsNumbers) {
    const double next = std::nextafter(1e12, 2e12);
    for (const double number : {0.0, -0.0, -5.0, 0.5, 1e12, -1e12}) {
        EXPECT_TRUE(Schema::validMetricValue(number)) << number;
    }
    for (const double number : {next, -next, std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_FALSE(Schema::validMetricValue(number)) << number;
        EXPECT_FALSE(Schema::validWholeNumber(number)) << number;
    }
    for (const double number : {0.0, -0.0, 1.0, 1e12}) {
        EXPECT_TRUE(Schema::validWholeNumber(number)) << number;
    }
    for (const double number : {-1.0, 0.5, 5e-324, 999'999'999'999.5}) {
        EXPECT_FALSE(Schema::validWholeNumber(number)) << number;
    }
}

template <class Enumeration>
std::size_t casesThatReadBack() {
    std::unordered_set<Enumeration> seen;
    for (const auto value : tessel::allCases<Enumeration>()) {
        EXPECT_EQ(tessel::fromRawValue<Enumeration>(tessel::rawValue(value)), value);
        seen.insert(value);
    }
    for (const std::string_view text : {"", "Pass", " pass", "pass ", "unknown"}) {
        EXPECT_EQ(tessel::fromRawValue<Enumeration>(text), std::nullopt);
    }
    return seen.size();
}

TEST(AppHealthEnumerations, areReadBackFromTheirRawValues) {
    EXPECT_EQ(casesThatReadBack<tessel::AppHealthStatus>(), 4U);
    EXPECT_EQ(casesThatReadBack<tessel::AppHealthCategory>(), 4U);
    EXPECT_EQ(casesThatReadBack<tessel::AppHealthChannel>(), 3U);
    EXPECT_EQ(casesThatReadBack<tessel::AppHealthArtifact>(), 4U);
    EXPECT_EQ(casesThatReadBack<tessel::AppHealthTrigger>(), 6U);
}

TEST(AppHealthEnumerations, haveTheRawValuesOfTheSchema) {
    using tessel::rawValue;
    EXPECT_EQ(rawValue(tessel::AppHealthStatus::pass), "pass");
    EXPECT_EQ(rawValue(tessel::AppHealthStatus::warning), "warning");
    EXPECT_EQ(rawValue(tessel::AppHealthStatus::fail), "fail");
    EXPECT_EQ(rawValue(tessel::AppHealthStatus::skip), "skip");
    EXPECT_EQ(rawValue(tessel::AppHealthCategory::unit), "unit");
    EXPECT_EQ(rawValue(tessel::AppHealthCategory::smoke), "smoke");
    EXPECT_EQ(rawValue(tessel::AppHealthCategory::reliability), "reliability");
    EXPECT_EQ(rawValue(tessel::AppHealthCategory::eval), "eval");
    EXPECT_EQ(rawValue(tessel::AppHealthChannel::release), "release");
    EXPECT_EQ(rawValue(tessel::AppHealthChannel::beta), "beta");
    EXPECT_EQ(rawValue(tessel::AppHealthChannel::dev), "dev");
    EXPECT_EQ(rawValue(tessel::AppHealthArtifact::staticWeb), "static-web");
    EXPECT_EQ(rawValue(tessel::AppHealthArtifact::worker), "worker");
    EXPECT_EQ(rawValue(tessel::AppHealthArtifact::goServer), "go-server");
    EXPECT_EQ(rawValue(tessel::AppHealthArtifact::macApp), "mac-app");
    EXPECT_EQ(rawValue(tessel::AppHealthTrigger::releaseVerification), "releaseVerification");
    EXPECT_EQ(rawValue(tessel::AppHealthTrigger::versionLaunch), "versionLaunch");
    EXPECT_EQ(rawValue(tessel::AppHealthTrigger::periodic), "periodic");
    EXPECT_EQ(rawValue(tessel::AppHealthTrigger::manual), "manual");
    EXPECT_EQ(rawValue(tessel::AppHealthTrigger::postbuild), "postbuild");
    EXPECT_EQ(rawValue(tessel::AppHealthTrigger::bootBeacon), "bootBeacon");
}

} // namespace
