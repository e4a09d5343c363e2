// The public face of the health report's validation. Documents are judged as they stand, by their
// bytes: strict JSON (see StrictJson), no key outside the schema, every rule of the schema. All
// problems are found in one pass, so the memory for the messages grows with the document. Pure
// functions; any thread.
#pragma once

#include "mac/Tessel/Health/AppHealthAttestation.h"
#include "mac/Tessel/Health/AppHealthReport.h"
#include "mac/Tessel/Health/AppHealthValidationError.h"

#include <optional>
#include <string_view>

namespace tessel {

struct AppHealthValidator {
    // Throws nothing.
    [[nodiscard]] static AppHealthValidationResult validate(std::string_view data);
    // Judges what would be written.
    [[nodiscard]] static AppHealthValidationResult validate(const AppHealthReport& report);
    // Throws AppHealthValidationError with what validate() finds.
    [[nodiscard]] static AppHealthReport decode(std::string_view data);
    // A build receipt that stands alone; absent when it is not a valid one.
    [[nodiscard]] static std::optional<AppBuildAttestation> decodeReceipt(std::string_view data);
};

} // namespace tessel
