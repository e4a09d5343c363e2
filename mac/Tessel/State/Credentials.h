// What a finished device link leaves behind, and its form on disk: one JSON object (RFC 8259) with
// the four fields under their own names. `linkedAt` is written as an ISO 8601 date-time in UTC to
// the second, so a fraction of a second does not survive. The token is a secret: it belongs into
// the credentials file and into requests, never into a log or an error text. Any thread.
#pragma once

#include "mac/Tessel/Values/Timestamp.h"

#include <optional>
#include <string>
#include <string_view>

namespace tessel {

struct Credentials {
    // The secret itself: never to be logged.
    std::string token;
    std::string serverOrigin; // as the origin's URL is written
    std::string tokenName;    // for people
    // When the approval was received, by this computer's clock.
    Timestamp linkedAt = {};

    bool operator==(const Credentials&) const = default;
};

// Pretty, with sorted keys. Absent when JSON cannot say it (a string that is not UTF-8) or the
// year is not one of 0000 to 9999.
[[nodiscard]] std::optional<std::string> credentialsText(const Credentials& credentials);

// Absent unless all four keys are there with the right types. Further keys are ignored; of a
// repeated key the last one counts.
[[nodiscard]] std::optional<Credentials> decodeCredentials(std::string_view text);

} // namespace tessel
