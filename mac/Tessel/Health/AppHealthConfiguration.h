// Which build of which application its health reports are about, and how often they are made.
// Plain value; any thread.
#pragma once

#include "mac/Tessel/Health/AppHealthAttestation.h"
#include "mac/Tessel/Health/AppHealthEnumerations.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tessel {

struct AppHealthConfiguration {
    // Throws AppHealthValidationError with a message for every field that is not valid.
    AppHealthConfiguration(std::string app, AppHealthChannel channel, std::string version,
                           std::string build, std::string sourceCommit, AppHealthArtifact artifact,
                           double periodicInterval,
                           std::optional<std::int64_t> bundleBytes = std::nullopt,
                           std::optional<AppHealthAttestation> attestation = std::nullopt);

    // As given, and valid.
    std::string app;
    AppHealthChannel channel;
    std::string version;
    std::string build;
    std::string sourceCommit; // may be empty
    // What kind of program this is.
    AppHealthArtifact artifact;
    double periodicInterval; // seconds between periodic runs; 0 makes every run due
    // The bundle's size in bytes, and a receipt for every report; absent when not known.
    std::optional<std::int64_t> bundleBytes;
    std::optional<AppHealthAttestation> attestation;
};

} // namespace tessel
