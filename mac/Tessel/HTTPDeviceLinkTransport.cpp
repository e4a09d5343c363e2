#include "mac/Tessel/HTTPDeviceLinkTransport.h"

#include "mac/Tessel/JsonFields.h"
#include "mac/Tessel/JsonText.h"

#include <boost/json/value.hpp>
#include <fmt/format.h>

#include <future>
#include <memory>
#include <utility>

namespace tessel {
namespace {

platform::HttpResult waitFor(platform::HttpClient& http, platform::HttpRequest request) {
    const auto result = std::make_shared<std::promise<platform::HttpResult>>();
    auto arrival = result->get_future();
    http.send(std::move(request),
              [result](platform::HttpResult reply) { result->set_value(std::move(reply)); });
    return arrival.get();
}

DeviceLinkFailure failureOf(const platform::HttpResponse& response) {
    const auto object = parseJsonObject(response.body);
    auto reason = object ? stringField(*object, "error") : std::nullopt;
    return DeviceLinkFailure::http(
        response.status, reason ? *std::move(reason) : fmt::format("status {}", response.status));
}

} // namespace

HTTPDeviceLinkTransport::HTTPDeviceLinkTransport(Url origin, std::optional<std::string> userAgent,
                                                 platform::HttpClient& http, const Limits& limits)
    : origin_(std::move(origin))
    , userAgent_(std::move(userAgent))
    , http_(http)
    , limits_(limits) {}

HTTPDeviceLinkTransport::HTTPDeviceLinkTransport(Url origin, std::optional<std::string> userAgent,
                                                 platform::HttpClient& http)
    : HTTPDeviceLinkTransport(std::move(origin), std::move(userAgent), http, Limits{}) {}

std::expected<DeviceLinkStartResponse, DeviceLinkFailure>
HTTPDeviceLinkTransport::startLink(const std::string& name) {
    return requestJSON("/api/link/start", "name", name, &decodeStartResponse);
}

std::expected<DeviceLinkPollResponse, DeviceLinkFailure>
HTTPDeviceLinkTransport::pollLink(const std::string& pollToken) {
    return requestJSON("/api/link/poll", "pollToken", pollToken, &decodePollResponse);
}

platform::HttpRequest HTTPDeviceLinkTransport::request(std::string url, std::string body) const {
    platform::HttpRequest request;
    request.url = std::move(url);
    request.method = "POST";
    request.headers = {{"Content-Type", "application/json"}};
    if (userAgent_) {
        request.headers.emplace_back("User-Agent", *userAgent_);
    }
    request.body = std::move(body);
    request.timeout = limits_.inAll;
    request.idleTimeout = limits_.withoutProgress;
    request.maxBodyBytes = limits_.replyBytes;
    return request;
}

template <typename Reply>
std::expected<Reply, DeviceLinkFailure>
HTTPDeviceLinkTransport::requestJSON(const std::string& path, const std::string& key,
                                     const std::string& value,
                                     std::optional<Reply> (*decode)(std::string_view)) {
    std::string url(origin_.buffer().data(), origin_.buffer().size());
    url += path;
    if (!parseUrl(url)) {
        return std::unexpected(DeviceLinkFailure::badResponse("bad URL for " + path));
    }
    auto body = compactJsonText({{key, value}});
    if (!body) {
        return std::unexpected(DeviceLinkFailure::badResponse("could not encode request body"));
    }
    const auto result = waitFor(http_, request(std::move(url), *std::move(body)));
    if (!result) {
        return std::unexpected(DeviceLinkFailure::network(result.error().message));
    }
    if (result->status < 200 || result->status > 299) {
        return std::unexpected(failureOf(*result));
    }
    auto reply = decode(result->body);
    if (!reply) {
        return std::unexpected(DeviceLinkFailure::badResponse(path + " reply did not decode"));
    }
    return *std::move(reply);
}

} // namespace tessel
