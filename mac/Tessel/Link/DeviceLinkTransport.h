// The two questions of a device-code link (in the manner of RFC 8628) to the account service: start
// one for a named device, and ask what became of it. Both block the calling thread until the
// exchange is over, so they are for background queues only; every failure is a value. Replies are
// records as the service sent them: nothing in them has been judged.
#pragma once

#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace tessel {

struct DeviceLinkStartResponse {
    std::string code;                    // what the user confirms in the browser
    std::string pollToken;               // a secret: stands for this attempt in poll requests
    std::string verifyUrl;               // where the user confirms
    std::string expiresAt;               // an ISO 8601 date-time
    std::optional<double> interval = {}; // seconds between polls

    bool operator==(const DeviceLinkStartResponse&) const = default;
};

// What became of an attempt.
struct DeviceLinkPollResponse {
    std::string status; // "pending", "approved" or the end of the attempt
    // Of an approval: the issued token and its name for people.
    std::optional<std::string> token = {};
    std::optional<std::string> tokenName = {};

    bool operator==(const DeviceLinkPollResponse&) const = default;
};

// JSON objects with these keys; unknown keys are ignored. Absent when a required field is missing,
// a field has another type, or the text is no JSON.
[[nodiscard]] std::optional<DeviceLinkStartResponse> decodeStartResponse(std::string_view text);
[[nodiscard]] std::optional<DeviceLinkPollResponse> decodePollResponse(std::string_view text);

// Why there is no answer.
struct DeviceLinkFailure {
    // No answer, an answer with a status that says no, an answer that cannot be read.
    enum class Kind { network, http, badResponse };
    Kind kind = Kind::network;
    int statusCode = 0; // of an http failure
    // Fit for a user.
    std::string message;

    // One of each kind.
    [[nodiscard]] static DeviceLinkFailure network(std::string message);
    [[nodiscard]] static DeviceLinkFailure http(int statusCode, std::string message);
    [[nodiscard]] static DeviceLinkFailure badResponse(std::string message);

    // Fit for a user, without a full stop.
    [[nodiscard]] std::string description() const;

    bool operator==(const DeviceLinkFailure&) const = default;
};

// Asks an account service the two questions of a link.
class DeviceLinkTransport {
  public:
    virtual ~DeviceLinkTransport() = default;

    // Each blocks until the exchange is over.
    [[nodiscard]] virtual std::expected<DeviceLinkStartResponse, DeviceLinkFailure>
    startLink(const std::string& name) = 0;
    [[nodiscard]] virtual std::expected<DeviceLinkPollResponse, DeviceLinkFailure>
    pollLink(const std::string& pollToken) = 0;

    // Nobody wants an answer any more, and what the transport was given may be gone when this
    // returns: a question under way ends at once, and a later one fails without asking. Any thread.
    virtual void abandon() {}
};

} // namespace tessel
