// What a release process says about the build it made: a receipt (schema "build-attestation@1"),
// alone or in an envelope with the results of the release's gates. Plain values; any thread. They
// hold what they were given; whether it is right is for AppHealthValidator to say.
#pragma once

#include "mac/Tessel/Health/AppHealthCheck.h"
#include "mac/Tessel/Values/Timestamp.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace platform {
class Bundle;
} // namespace platform

namespace tessel {

struct AppBuildAttestation {
    // What schemaVersion is in a valid receipt.
    static constexpr std::string_view currentSchemaVersion = "build-attestation@1";

    AppBuildAttestation() = default;
    // Writes the date in the form of a report's.
    AppBuildAttestation(std::string schemaVersion, std::string app, std::string version,
                        std::string build, std::string sourceCommit, Timestamp generatedAt,
                        std::optional<std::vector<std::string>> verifiedSuites);

    // The check "build.attestation": compares the receipt `resourceName`.json among the bundle's
    // resources with the bundle's own version and build, and with the commit if one is given.
    // No such resource, or one that cannot be read: skipped. The bundle outlives the check.
    [[nodiscard]] static AppHealthCheck healthCheck(const platform::Bundle& bundle,
                                                    std::string resourceName,
                                                    std::optional<std::string> visibleSourceCommit);

    // Identifiers and a timestamp in the form of a report's, all judged by AppHealthValidator.
    std::string schemaVersion;
    std::string app;
    std::string version;
    std::string build;
    std::string sourceCommit;
    std::string generatedAt;
    std::optional<std::vector<std::string>> verifiedSuites; // absent when not known

    bool operator==(const AppBuildAttestation&) const = default;
};

// A receipt, and which gates its build has passed.
struct AppHealthAttestationEnvelope {
    bool gatesVerified = false; // anything but true is invalid in a report
    // 1 to 32 identifiers, and the receipt itself.
    std::vector<std::string> verifiedSuites = {};
    AppBuildAttestation receipt = {};

    bool operator==(const AppHealthAttestationEnvelope&) const = default;
};

// One of the two; written as the one it holds, without a tag.
struct AppHealthAttestation {
    // With the one or the other in it. Nothing is judged here.
    [[nodiscard]] static AppHealthAttestation receipt(AppBuildAttestation receipt);
    [[nodiscard]] static AppHealthAttestation wrapper(AppHealthAttestationEnvelope envelope);

    // Which of the two it is, and that one.
    std::variant<AppBuildAttestation, AppHealthAttestationEnvelope> content;

    bool operator==(const AppHealthAttestation&) const = default;
};

} // namespace tessel
