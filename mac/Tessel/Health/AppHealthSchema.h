// The schemas "health-report@1" and "build-attestation@1" at the level of characters and numbers:
// which texts are identifiers, which numbers are metrics, which keys an object may carry. Texts
// are judged by their UTF-8 bytes and only ASCII letters count as letters. Pure functions and
// constants; any thread.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace tessel {

struct AppHealthSchema {
    // The limits of a document, and the keys that its objects may have.
    static constexpr double largestNumber = 1e12;
    static constexpr std::size_t mostChecks = 256;
    static constexpr std::size_t mostMetrics = 32;
    static constexpr std::size_t mostSuites = 32;

    // In the order of the schema.
    static constexpr std::array<std::string_view, 14> reportKeys{
        "schemaVersion", "app",         "channel", "version", "build",   "sourceCommit", "artifact",
        "trigger",       "generatedAt", "status",  "checks",  "metrics", "attestation",  "logKey"};
    // Of one check.
    static constexpr std::array<std::string_view, 5> checkKeys{"id", "category", "status",
                                                               "durationMs", "metrics"};
    // Of a build receipt.
    static constexpr std::array<std::string_view, 7> receiptKeys{
        "schemaVersion", "app",         "version",       "build",
        "sourceCommit",  "generatedAt", "verifiedSuites"};
    // Of an envelope around one.
    static constexpr std::array<std::string_view, 3> envelopeKeys{"gatesVerified", "verifiedSuites",
                                                                  "receipt"};

    // 1 to 39 bytes: small letters, digits, "_" and "-", one of the first two in front.
    [[nodiscard]] static bool validApp(std::string_view text);
    // Of a check.
    [[nodiscard]] static bool validStableID(std::string_view text);
    // Of a metric; a suite is named by the same rule.
    [[nodiscard]] static bool validMetricKey(std::string_view text);
    // Begins with a letter or digit; `punctuation` may follow anywhere.
    [[nodiscard]] static bool validBoundedIdentity(std::string_view text, std::size_t maximum,
                                                   std::string_view punctuation);
    // At most 80 and 64 bytes, with "._-" and, in versions, "+".
    [[nodiscard]] static bool validVersion(std::string_view text);
    [[nodiscard]] static bool validBuild(std::string_view text);
    // The empty commit is not one; who tolerates it says so.
    [[nodiscard]] static bool validSourceCommit(std::string_view text);
    // The shape YYYY-MM-DDTHH:MM:SSZ, or with "." and 1 to 9 digits before the "Z".
    [[nodiscard]] static bool validTimestampShape(std::string_view text);
    // The shape, and a date of the calendar.
    [[nodiscard]] static bool validTimestamp(std::string_view text);
    // health/APP/BUILD/NAME.json, with that application and build.
    [[nodiscard]] static bool validLogKey(std::string_view key, std::string_view app,
                                          std::string_view build);

    // From -1e12 to 1e12; no number that is not finite.
    [[nodiscard]] static bool validMetricValue(double number) {
        return number >= -largestNumber && number <= largestNumber;
    }
    // A whole number from 0 to 1e12: "durationMs", "bundleBytes".
    [[nodiscard]] static bool validWholeNumber(double number);
};

} // namespace tessel
