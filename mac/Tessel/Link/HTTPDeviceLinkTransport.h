// DeviceLinkTransport as JSON over HTTP (RFC 9110): POST to "/api/link/start" and "/api/link/poll"
// below the origin's text as it is, so that an origin that ends in a slash gets two.
//
// An exchange fails when no byte moves for 30 seconds or when it takes more than 120 seconds in
// all; TLS certificates are verified; nothing is kept from one exchange to the next. A redirect is
// not followed, so the poll token never goes to another place: it comes out as the HTTP failure of
// its status. A reply of more than 1 MiB is a network failure. Failures name the origin at most,
// unless the service's own error text says more.
//
// Not to be called on the HTTP client's own thread. The client outlives the transport, or the call
// of abandon() if that comes first.
#pragma once

#include "mac/Tessel/Link/DeviceLinkTransport.h"
#include "mac/Tessel/Values/Url.h"
#include "platform/HttpClient.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace tessel {

// An origin's text with a path behind it, no slash added or taken away; nothing when that is no
// URL.
[[nodiscard]] std::optional<std::string> linkServiceUrl(std::string_view origin,
                                                        std::string_view path);

class HTTPDeviceLinkTransport final : public DeviceLinkTransport {
  public:
    // When an exchange is given up.
    struct Limits {
        // In which no byte moves, in all, and the largest reply.
        std::chrono::milliseconds withoutProgress = std::chrono::seconds(30);
        std::chrono::milliseconds inAll = std::chrono::seconds(120);
        std::size_t replyBytes = std::size_t{1} << 20;
    };

    // With a user agent every request says so; without one none does.
    HTTPDeviceLinkTransport(Url origin, std::optional<std::string> userAgent,
                            platform::HttpClient& http, const Limits& limits);
    HTTPDeviceLinkTransport(Url origin, std::optional<std::string> userAgent,
                            platform::HttpClient& http);

    // As given.
    [[nodiscard]] const Url& origin() const { return origin_; }

    // As DeviceLinkTransport says.
    [[nodiscard]] std::expected<DeviceLinkStartResponse, DeviceLinkFailure>
    startLink(const std::string& name) override;
    [[nodiscard]] std::expected<DeviceLinkPollResponse, DeviceLinkFailure>
    pollLink(const std::string& pollToken) override;
    void abandon() override;

  private:
    class Exchange;

    [[nodiscard]] platform::HttpResult exchange(platform::HttpRequest request);
    template <typename Reply>
    [[nodiscard]] std::expected<Reply, DeviceLinkFailure>
    requestJSON(const std::string& path, const std::string& key, const std::string& value,
                std::optional<Reply> (*decode)(std::string_view));
    [[nodiscard]] platform::HttpRequest request(std::string url, std::string body) const;

    Url origin_;
    std::optional<std::string> userAgent_;
    platform::HttpClient& http_;
    Limits limits_;
    std::mutex mutex_; // of what follows, and of every use of the client
    bool isAbandoned_ = false;
    std::shared_ptr<Exchange> exchange_;
};

} // namespace tessel
