#include "mac/Tessel/Health/AppHealthConfiguration.h"

#include "mac/Tessel/Health/AppHealthSchema.h"
#include "mac/Tessel/Health/AppHealthValidationError.h"

#include <cmath>
#include <utility>
#include <vector>

namespace tessel {
namespace {

std::vector<std::string> errorsOf(const AppHealthConfiguration& configuration) {
    std::vector<std::string> errors;
    const auto require = [&errors](bool holds, const char* message) {
        if (!holds) {
            errors.emplace_back(message);
        }
    };
    const auto& commit = configuration.sourceCommit;
    const auto& bytes = configuration.bundleBytes;
    require(AppHealthSchema::validApp(configuration.app), "bad app");
    require(AppHealthSchema::validVersion(configuration.version), "bad version");
    require(AppHealthSchema::validBuild(configuration.build), "bad build");
    require(commit.empty() || AppHealthSchema::validSourceCommit(commit), "bad sourceCommit");
    require(std::isfinite(configuration.periodicInterval) && configuration.periodicInterval >= 0,
            "periodicInterval is invalid");
    require(!bytes || AppHealthSchema::validWholeNumber(static_cast<double>(*bytes)),
            "bundleBytes is invalid");
    return errors;
}

} // namespace

AppHealthConfiguration::AppHealthConfiguration(std::string appName, AppHealthChannel releaseChannel,
                                               std::string marketingVersion,
                                               std::string buildNumber, std::string commit,
                                               AppHealthArtifact artifactKind,
                                               double secondsBetweenRuns,
                                               std::optional<std::int64_t> sizeOfBundle,
                                               std::optional<AppHealthAttestation> buildAttestation)
    : app(std::move(appName))
    , channel(releaseChannel)
    , version(std::move(marketingVersion))
    , build(std::move(buildNumber))
    , sourceCommit(std::move(commit))
    , artifact(artifactKind)
    , periodicInterval(secondsBetweenRuns)
    , bundleBytes(sizeOfBundle)
    , attestation(std::move(buildAttestation)) {
    if (auto errors = errorsOf(*this); !errors.empty()) {
        throw AppHealthValidationError(std::move(errors));
    }
}

} // namespace tessel
