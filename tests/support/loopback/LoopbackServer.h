// A small HTTP/1.1 server on a port of its own on 127.0.0.1, for tests of what talks to servers.
// It answers through a handler (ok by default) or misbehaves in one chosen way; every request
// that it could read is recorded. Each connection has a thread; every wait of such a thread ends
// when the server is destroyed, and the destructor returns with all of them joined and every
// descriptor closed. Requests are read up to 16 MiB.
//
//     LoopbackServer server([](const LoopbackServer::Request& request) {
//         return LoopbackServer::Reply{.body = "you asked for " + request.target};
//     });
//     fetch(server.url("/health"));
//
// Every call may be made on any thread. Handlers run on connection threads, several at once.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test_support {

class LoopbackServer {
  public:
    using Headers = std::vector<std::pair<std::string, std::string>>;

    struct Request {
        std::string method;
        std::string target;
        Headers headers;
        std::string body;

        // The first field of that name, compared case-insensitively.
        [[nodiscard]] std::optional<std::string_view> header(std::string_view name) const;
    };

    // Content-Length is added unless `headers` has it or the status forbids a body.
    struct Reply {
        int status = 200;
        Headers headers{};
        std::string body{};
        bool closeAfterwards = false; // without saying so in a header
    };

    using Handler = std::function<Reply(const Request&)>;

    // What happens to a connection. Unless said otherwise the request is read first.
    enum class Misbehaviour {
        none,                    // the handler answers
        neverAnswer,             // reads everything and says nothing
        closeWithoutReading,     // closes as soon as the connection is there
        closeBeforeAnswering,    // closes without a byte
        resetBeforeAnswering,    // TCP reset without a byte
        resetMidBody,            // TCP reset after half of the declared body
        closeMidBody,            // orderly end after half of the declared body
        closeMidHeader,          // orderly end inside the header section
        closeAfterReply,         // a good reply, then the end, unannounced
        dripBody,                // one byte of the body each interval, without an end
        dripHeader,              // one byte of the header each interval, without an end
        endlessBody,             // as fast as it goes, no length declared
        endlessChunks,           // the same, in chunks
        endlessHeader,           // header fields without an end
        endlessHeaderLine,       // one header field without an end
        endlessInterimResponses, // 100 Continue, forever
        endlessRedirectBody,     // 302 to "/" with an endless body
        hugeContentLength,       // declares 1 TB, sends nothing of it
        negativeContentLength,   // Content-Length: -1
        redirectLoop,            // 302 to the same target
        brokenChunk,             // a chunk size that is no number
        unfinishedChunks,        // ends inside a chunk
        compressionBomb,         // says Transfer-Encoding: gzip, chunked; 64 MiB of zeros inside
        garbage,                 // bytes that are not HTTP
        emptyStatusLine,         // "HTTP/1.1 " and nothing more
        nulInHeader,             // a NUL byte inside a field value
        answersTwice,            // two complete replies to one request
    };

    explicit LoopbackServer(Handler handler = {});
    explicit LoopbackServer(Misbehaviour misbehaviour);
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    // All three hold for connections that begin, and requests that arrive, from now on.
    void setHandler(Handler handler);
    void setMisbehaviour(Misbehaviour misbehaviour);
    void setInterval(std::chrono::milliseconds interval); // of the drips; 10 ms at first

    [[nodiscard]] std::uint16_t port() const;
    // "http://127.0.0.1:PORT" and the target.
    [[nodiscard]] std::string url(std::string_view target = "/") const;

    [[nodiscard]] std::vector<Request> requests() const;
    [[nodiscard]] std::size_t connectionCount() const; // accepted so far
    [[nodiscard]] std::size_t bytesSent() const;
    // Waits until that many requests, or connections, have arrived in all; false after 30 s.
    [[nodiscard]] bool waitForRequests(std::size_t count) const;
    [[nodiscard]] bool waitForConnections(std::size_t count) const;
    // Ends every open connection in an orderly way, as a server that tidies up idle ones does.
    void closeConnections();

  private:
    struct State;

    std::unique_ptr<State> state_;
};

} // namespace test_support
