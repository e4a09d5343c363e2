// What the health runner remembers between launches. Plain value; any thread.
#pragma once

#include "mac/Tessel/Values/Timestamp.h"

#include <optional>
#include <string>
#include <string_view>

namespace tessel {

struct AppHealthState {
    // Absent before the first run.
    std::optional<std::string> lastVersionBuild; // "VERSION:BUILD" of the last run
    std::optional<Timestamp> lastRunAt;

    bool operator==(const AppHealthState&) const = default;

    // A JSON object on one line; absent fields are left out, the date is written to the second.
    // Throws AppHealthValidationError when JSON cannot say the text.
    [[nodiscard]] std::string encoded() const;
    // Unknown keys are skipped and null is absent; anything else that encoded() would not write
    // yields nothing.
    [[nodiscard]] static std::optional<AppHealthState> decode(std::string_view data);
};

} // namespace tessel
