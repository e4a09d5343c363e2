#pragma once

#include "ostrad/Http.h"
#include "ostrad/Options.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

namespace ostrad {

// An HTTP/1.1 server (RFC 9112) on one loopback address. It binds and listens when constructed and
// serves on the thread that calls run(), which returns after stop() or SIGTERM, SIGINT or SIGHUP;
// by then every connection is closed. The handler runs on that same thread, one request at a time;
// it puts what may block off to a worker (Reply::onWorker), and files are read there too unless
// they are in memory, so a disk that is slow to wake keeps nobody waiting but those who want it.
// The constructor throws std::system_error when the address cannot be had.
//
// No connection is ever left on the server's port, in TIME_WAIT or waiting for a client's last
// word, not even when the process is killed: the next owner can bind it at once, without
// SO_REUSEADDR.

struct HttpLimits {
    std::uint32_t headerBytes = 16 * 1024;
    std::uint64_t bodyBytes = std::uint64_t{64} * 1024;
    std::size_t connections = 128;
    std::chrono::milliseconds idle{60'000};          // between requests, and for one whole request
    std::chrono::milliseconds stalledReply{600'000}; // a paused player may rest this long
    std::chrono::milliseconds farewell{2'000};       // for the client to close after a last reply
};

class HttpServer {
  public:
    using Handler = std::function<Reply(const Request&)>;

    explicit HttpServer(const ListenAddress& address, HttpLimits limits = {});
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // The address with the port that was really taken.
    [[nodiscard]] const ListenAddress& address() const;

    void run(Handler handler);

    // From any thread; also before run(), which then returns at once.
    void stop();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace ostrad
