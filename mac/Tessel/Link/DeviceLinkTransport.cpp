#include "mac/Tessel/Link/DeviceLinkTransport.h"

#include "mac/Tessel/Json/JsonFields.h"

#include <fmt/format.h>

#include <utility>

namespace tessel {

std::optional<DeviceLinkStartResponse> decodeStartResponse(std::string_view text) {
    const auto object = parseJsonObject(text);
    if (!object) {
        return std::nullopt;
    }
    auto code = stringField(*object, "code");
    auto pollToken = stringField(*object, "pollToken");
    auto verifyUrl = stringField(*object, "verifyUrl");
    auto expiresAt = stringField(*object, "expiresAt");
    const auto interval = numberField(*object, "interval");
    if (!code || !pollToken || !verifyUrl || !expiresAt ||
        (!interval && !lacks(*object, "interval"))) {
        return std::nullopt;
    }
    return DeviceLinkStartResponse{.code = *std::move(code),
                                   .pollToken = *std::move(pollToken),
                                   .verifyUrl = *std::move(verifyUrl),
                                   .expiresAt = *std::move(expiresAt),
                                   .interval = interval};
}

std::optional<DeviceLinkPollResponse> decodePollResponse(std::string_view text) {
    const auto object = parseJsonObject(text);
    if (!object) {
        return std::nullopt;
    }
    auto status = stringField(*object, "status");
    auto token = stringField(*object, "token");
    auto tokenName = stringField(*object, "tokenName");
    if (!status || (!token && !lacks(*object, "token")) ||
        (!tokenName && !lacks(*object, "tokenName"))) {
        return std::nullopt;
    }
    return DeviceLinkPollResponse{
        .status = *std::move(status), .token = std::move(token), .tokenName = std::move(tokenName)};
}

DeviceLinkFailure DeviceLinkFailure::network(std::string message) {
    return {.kind = Kind::network, .statusCode = 0, .message = std::move(message)};
}

DeviceLinkFailure DeviceLinkFailure::http(int statusCode, std::string message) {
    return {.kind = Kind::http, .statusCode = statusCode, .message = std::move(message)};
}

DeviceLinkFailure DeviceLinkFailure::badResponse(std::string message) {
    return {.kind = Kind::badResponse, .statusCode = 0, .message = std::move(message)};
}

std::string DeviceLinkFailure::description() const {
    switch (kind) {
    case Kind::network:
        return "network: " + message;
    case Kind::http:
        return fmt::format("HTTP {}: {}", statusCode, message);
    case Kind::badResponse:
        break;
    }
    return "bad response: " + message;
}

} // namespace tessel
