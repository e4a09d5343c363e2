// Answers GET /api/health on a loopback address like a media server does, with the nonce from
// MEDIASERVER_HEALTH_NONCE, or in one of the ways in which such a server can be wrong.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace testchild {

enum class HealthMode {
    ok,
    wrongNonce,
    spaced,  // a blank after the colon
    badUtf8, // the right nonce and a byte that is no UTF-8
    empty,   // status 200 without a body
    noContent,
    serverError,
    redirect, // to a path that answers well
    hang,     // accepts, and never answers
    drip,     // a byte every 100 ms
    endless,  // a body without end
    reset,    // closes with a reset once the request was read
    none,     // does not listen
};

struct HealthPlan {
    HealthMode mode = HealthMode::ok;
    int unhealthyFirst = 0; // so many requests are answered with 503 before
};

[[nodiscard]] std::optional<HealthMode> healthModeNamed(std::string_view name);

// Serves until the process ends. Exits with code 69 when the address cannot be listened on.
[[noreturn]] void serveHealth(const std::string& address, HealthPlan plan);

} // namespace testchild
