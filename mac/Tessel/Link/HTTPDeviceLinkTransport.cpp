#include "mac/Tessel/Link/HTTPDeviceLinkTransport.h"

#include "mac/Tessel/Json/JsonFields.h"
#include "mac/Tessel/Json/JsonText.h"

#include <boost/json/value.hpp>
#include <fmt/format.h>

#include <condition_variable>
#include <memory>
#include <optional>
#include <utility>

namespace tessel {
namespace {

DeviceLinkFailure failureOf(const platform::HttpResponse& response) {
    const auto object = parseJsonObject(response.body);
    auto reason = object ? stringField(*object, "error") : std::nullopt;
    return DeviceLinkFailure::http(
        response.status, reason ? *std::move(reason) : fmt::format("status {}", response.status));
}

platform::HttpResult noResponse() {
    return std::unexpected(platform::HttpError{.kind = platform::HttpError::Kind::cancelled,
                                               .message = "no response"});
}

} // namespace

// One answer, from the client or from whoever gives up first.
class HTTPDeviceLinkTransport::Exchange {
  public:
    void finish(platform::HttpResult result) {
        const std::scoped_lock lock(mutex_);
        if (!result_) {
            result_ = std::move(result);
            finished_.notify_all();
        }
    }
    platform::HttpResult wait() {
        std::unique_lock lock(mutex_);
        finished_.wait(lock, [this] { return result_.has_value(); });
        return *std::move(result_);
    }

  private:
    std::mutex mutex_;
    std::condition_variable finished_;
    std::optional<platform::HttpResult> result_;
};

std::optional<std::string> linkServiceUrl(std::string_view origin, std::string_view path) {
    auto url = fmt::format("{}{}", origin, path);
    return parseUrl(url) ? std::optional(std::move(url)) : std::nullopt;
}

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

platform::HttpResult HTTPDeviceLinkTransport::exchange(platform::HttpRequest request) {
    const auto exchange = std::make_shared<Exchange>();
    {
        const std::scoped_lock lock(mutex_);
        if (isAbandoned_) {
            return noResponse();
        }
        exchange_ = exchange;
        http_.send(std::move(request), [exchange](platform::HttpResult result) {
            exchange->finish(std::move(result));
        });
    }
    return exchange->wait();
}

void HTTPDeviceLinkTransport::abandon() {
    const std::scoped_lock lock(mutex_);
    isAbandoned_ = true;
    if (exchange_) {
        exchange_->finish(noResponse());
    }
}

template <typename Reply>
std::expected<Reply, DeviceLinkFailure>
HTTPDeviceLinkTransport::requestJSON(const std::string& path, const std::string& key,
                                     const std::string& value,
                                     std::optional<Reply> (*decode)(std::string_view)) {
    auto url = linkServiceUrl(origin_.buffer(), path);
    if (!url) {
        return std::unexpected(DeviceLinkFailure::badResponse("bad URL for " + path));
    }
    auto body = compactJsonText({{key, value}});
    if (!body) {
        return std::unexpected(DeviceLinkFailure::badResponse("could not encode request body"));
    }
    const auto result = exchange(request(*std::move(url), *std::move(body)));
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
