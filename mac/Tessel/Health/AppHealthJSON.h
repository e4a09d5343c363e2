// Health values as JSON. Keys are sorted and absent fields are left out, so the same value always
// gives the same bytes; reading what was written and writing it again gives them once more. Pure
// functions; any thread.
#pragma once

#include "mac/Tessel/Health/AppHealthAttestation.h"
#include "mac/Tessel/Health/AppHealthReport.h"

#include <boost/json/value.hpp>

#include <optional>
#include <string>

namespace tessel {

struct AppHealthJSON {
    // On one line. Absent when JSON cannot say it: a metric that is not finite, a text that is not
    // UTF-8.
    [[nodiscard]] static std::optional<std::string> encoded(const AppHealthReport& report);
    [[nodiscard]] static std::optional<std::string> encoded(const AppBuildAttestation& receipt);

    // The content of a report file: indented, with one line feed at the end. The bytes themselves
    // are validated; throws AppHealthValidationError instead of returning what is not valid.
    [[nodiscard]] static std::string storedData(const AppHealthReport& report);

    // The content of a small state file, on one line. Dates go in with
    // formatTimestampWithoutFraction() and come out with parseInternetDateTime(). Throws
    // AppHealthValidationError when JSON cannot say the value.
    [[nodiscard]] static std::string stateData(const boost::json::value& state);
};

} // namespace tessel
