// HttpClient over libcurl's multi interface: one internal thread for every exchange, started by
// the first request and asleep without a timer while there is none. Connections are kept and used
// again; a request whose kept connection turns out dead is sent once more on a new one, unless its
// method is not idempotent (RFC 9110, 9.2.2): then it gets a new connection from the start. At most
// 128 exchanges run at once, fewer where the process may have few descriptors; more of them wait,
// the one with the least time left first, and time out as they wait.
//
// Loopback hosts (127.0.0.0/8, ::1, localhost) are always asked directly, also after a redirect;
// other hosts follow the proxy variables of the environment. TLS certificates are verified.
// Redirects stay within http and https, and one more than `maxRedirects` is a `protocol` error.
// Header fields of one response may take 64 KiB. `badRequest` covers what cannot be sent: a URL
// that is not absolute, not http(s), holds user information or anything but printable ASCII; a
// method or field name that is no token; a field value with line breaks; a Content-Length or
// Transfer-Encoding of the caller's own. Messages name method, scheme, host and port only.
//
// Completions run on the internal thread, which must not destroy the client; in send() where the
// system has no thread to give, with `cannotConnect`. One that answers `cancelled` by sending again
// would be asked forever.
#pragma once

#include "platform/HttpClient.h"
#include "platform/posix/QuietThread.h"

#include <filesystem>
#include <memory>

namespace platform {

struct CurlHttpOptions {
    // A PEM file with the certificate authorities to trust in the place of the system's.
    std::filesystem::path authorities = {};
    posix::StartThread startThread = &posix::startQuietThread;
};

class CurlHttpClient final : public HttpClient {
  public:
    // The first client of a process must be made before other threads use libcurl. Throws
    // std::runtime_error when libcurl cannot be initialised.
    explicit CurlHttpClient(const CurlHttpOptions& options = {});
    ~CurlHttpClient() override;
    CurlHttpClient(const CurlHttpClient&) = delete;
    CurlHttpClient& operator=(const CurlHttpClient&) = delete;

    void send(HttpRequest request, std::function<void(HttpResult)> completion) override;

  private:
    class Engine;

    std::unique_ptr<Engine> engine_;
};

} // namespace platform
