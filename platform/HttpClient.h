// Asynchronous HTTP/1.1 (RFC 9110, RFC 9112). One request in, exactly one completion out, on an
// internal thread; nothing is cached, no cookie is kept, and a proxy is never used for a loopback
// host, whatever the environment says. The time-out bounds the whole exchange from the call to
// the last byte of the body, the idle time-out each time in which nothing arrives or leaves; a body
// that is larger than the limit ends the exchange at once.
#pragma once

#include <chrono>
#include <cstddef>
#include <expected>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace platform {

// Names and values in order; a name may come more than once.
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

// What to send, and the bounds of the exchange.
struct HttpRequest {
    std::string url;            // absolute, http or https
    std::string method = "GET"; // sent as it is
    HttpHeaders headers;        // beside those that the protocol needs
    std::string body;           // the bytes to send; empty: no body
    // For the whole exchange.
    std::chrono::milliseconds timeout{60'000};
    // Counts from the call, then from the last piece of a body or whole line of a header.
    std::optional<std::chrono::milliseconds> idleTimeout = {};
    // The longest body of a response that is taken.
    std::size_t maxBodyBytes = std::size_t{1} << 20;
    // Redirects followed at most; 0 delivers the redirect itself as the response.
    int maxRedirects = 0;
    // Neither the URL nor a redirect may be anything but https.
    bool onlyHttps = false;
    // Without a byte for that long, in whole seconds, the exchange has timed out; 0: only
    // `timeout`.
    std::chrono::seconds stallTimeout{0};
    // Takes the body of a 2xx response piece by piece, on the internal thread, in the place of the
    // response's `body`. False ends the exchange as `cancelled`. Must not throw.
    std::function<bool(std::string_view piece)> bodySink = {};
};

// A response that arrived whole.
struct HttpResponse {
    int status = 0;      // its status code, whatever it is
    HttpHeaders headers; // of the final response, in the order received, names as received
    std::string body;    // empty when a body sink took it

    // The value of the first header of that name, compared case-insensitively.
    [[nodiscard]] std::optional<std::string_view> header(std::string_view name) const;
};

// Why there is no response.
struct HttpError {
    // The request itself is wrong; nobody answers; too slow; too long; no HTTP; the client or the
    // body sink ended it.
    enum class Kind { badRequest, cannotConnect, timedOut, bodyTooLarge, protocol, cancelled };
    Kind kind = Kind::protocol; // which of them
    std::string message;        // fit for a log; never holds header values or bodies
};

// What a request's completion is given.
using HttpResult = std::expected<HttpResponse, HttpError>;

class HttpClient {
  public:
    // Requests under way when the client is destroyed complete with `cancelled` before the
    // destructor returns.
    virtual ~HttpClient() = default;

    // Returns at once; any thread, from inside a completion too. The completion must not throw.
    virtual void send(HttpRequest request, std::function<void(HttpResult)> completion) = 0;
};

} // namespace platform
