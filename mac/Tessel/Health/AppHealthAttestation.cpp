#include "mac/Tessel/Health/AppHealthAttestation.h"

#include "mac/Tessel/Health/AppHealthValidator.h"
#include "platform/Bundle.h"

#include <utility>

namespace tessel {
namespace {

double oneOrZero(bool holds) {
    return holds ? 1 : 0;
}

AppHealthCheck::Outcome unusableReceipt() {
    return {AppHealthStatus::fail,
            {{"hasReceipt", 1},
             {"hasSchema", 0},
             {"versionMatch", 0},
             {"buildMatch", 0},
             {"commitMatch", 0},
             {"verifiedSuites", 0}}};
}

AppHealthCheck::Outcome compare(const AppBuildAttestation& receipt, const platform::Bundle& bundle,
                                const std::optional<std::string>& visibleSourceCommit) {
    const bool hasSchema = receipt.schemaVersion == AppBuildAttestation::currentSchemaVersion;
    const bool versionMatch =
        receipt.version == bundle.infoString("CFBundleShortVersionString").value_or("");
    const bool buildMatch = receipt.build == bundle.infoString("CFBundleVersion").value_or("");
    const bool commitMatch = !visibleSourceCommit || receipt.sourceCommit == *visibleSourceCommit;
    const bool all = hasSchema && versionMatch && buildMatch && commitMatch;
    const std::size_t suites = receipt.verifiedSuites ? receipt.verifiedSuites->size() : 0;
    return {all ? AppHealthStatus::pass : AppHealthStatus::fail,
            {{"hasReceipt", 1},
             {"hasSchema", oneOrZero(hasSchema)},
             {"versionMatch", oneOrZero(versionMatch)},
             {"buildMatch", oneOrZero(buildMatch)},
             {"commitMatch", oneOrZero(commitMatch)},
             {"verifiedSuites", static_cast<double>(suites)}}};
}

} // namespace

AppBuildAttestation::AppBuildAttestation(std::string givenSchemaVersion, std::string givenApp,
                                         std::string givenVersion, std::string givenBuild,
                                         std::string givenSourceCommit, Timestamp givenGeneratedAt,
                                         std::optional<std::vector<std::string>> givenSuites)
    : schemaVersion(std::move(givenSchemaVersion))
    , app(std::move(givenApp))
    , version(std::move(givenVersion))
    , build(std::move(givenBuild))
    , sourceCommit(std::move(givenSourceCommit))
    , generatedAt(formatTimestamp(givenGeneratedAt))
    , verifiedSuites(std::move(givenSuites)) {}

AppHealthCheck AppBuildAttestation::healthCheck(const platform::Bundle& bundle,
                                                std::string resourceName,
                                                std::optional<std::string> visibleSourceCommit) {
    auto operation = [&bundle, resourceName = std::move(resourceName),
                      visibleSourceCommit = std::move(visibleSourceCommit)] {
        const auto data = bundle.resource(resourceName, "json");
        if (!data) {
            return AppHealthCheck::Outcome{AppHealthStatus::skip, {{"receipt", 0}}};
        }
        const auto receipt = AppHealthValidator::decodeReceipt(*data);
        return receipt ? compare(*receipt, bundle, visibleSourceCommit) : unusableReceipt();
    };
    return {"build.attestation", AppHealthCategory::unit, std::move(operation)};
}

AppHealthAttestation AppHealthAttestation::receipt(AppBuildAttestation receipt) {
    return {std::move(receipt)};
}

AppHealthAttestation AppHealthAttestation::wrapper(AppHealthAttestationEnvelope envelope) {
    return {std::move(envelope)};
}

} // namespace tessel
