// How many libraries and items the server has, for each of its media modes, in the server's order.
// The client gathers it in one pass: the modes, then the libraries, then one request for the total
// of each counted entity type, all of these in flight at once; each exchange may take 2 s. Only a
// failed request for the modes fails the pass; every other failure costs the numbers it concerns. A
// reply that is larger than 4 MiB (1 MiB for a total) counts as failed; redirects are not followed.
// Overlapping passes do not disturb each other.
#pragma once

#include "mac/OstraCore/ServerUrl.h"
#include "platform/HttpClient.h"
#include "platform/Queues.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ostra {

struct ModeSummary {
    std::string id;
    std::string name;
    // Absent when nothing could be counted, or the server's totals add up to more than 64 bits
    // hold.
    std::optional<std::int64_t> itemCount = {};
    std::string singularItemName; // lower case
    std::string pluralItemName;
    std::int64_t libraryCount = 0;

    bool operator==(const ModeSummary&) const = default;
};

struct LibrarySummary {
    std::vector<ModeSummary> modes = {};

    // Stays at the largest (or smallest) number rather than overflow.
    [[nodiscard]] std::int64_t totalLibraries() const;
    // The sum of the counts that are there. Absent when there is none, and when the sum overflows:
    // the counts are the server's, and no number of its choice may end the application.
    [[nodiscard]] std::optional<std::int64_t> totalItems() const;
    [[nodiscard]] bool hasConfiguredLibraries() const { return totalLibraries() > 0; }

    bool operator==(const LibrarySummary&) const = default;
};

struct LibrarySummaryClient {
    // `base` is the server's root. The completion is called once and must not throw: on the
    // session's thread when the pass ends with the modes, else on the global utility queue. The
    // session and the queues must live until then, and the queues as long as the session.
    static void fetch(const Url& base, platform::HttpClient& session,
                      platform::BackgroundQueues& queues,
                      std::function<void(std::optional<LibrarySummary>)> completion);
};

} // namespace ostra
