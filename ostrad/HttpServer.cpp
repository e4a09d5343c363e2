#include "ostrad/HttpServer.h"

// Handlers run on one thread and reach it through a mutex; the fences that Asio adds around them
// order nothing more, and the thread sanitizer cannot follow fences.
#define BOOST_ASIO_DISABLE_FENCED_BLOCK 1 // NOLINT(cppcoreguidelines-macro-usage)

#include "ostrad/FileReader.h"
#include "ostrad/HttpMessage.h"
#include "ostrad/Log.h"
#include "ostrad/SocketTuning.h"
#include "ostrad/Workers.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <ctime>
#include <set>
#include <system_error>

namespace ostrad {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = asio::ip::tcp;

namespace {

constexpr std::size_t kStreamChunk = 256UL * 1024;
// So that a worker comes back now and then from a reader that is always ready.
constexpr std::uint64_t kMostHandedOver = 16UL * 1024 * 1024;
constexpr std::uint64_t kFarewellBytes = 1024UL * 1024;
constexpr std::chrono::milliseconds kAcceptPause{100};
constexpr auto kAwait = asio::as_tuple(asio::use_awaitable);

Reply plainReply(int status) {
    Reply reply;
    reply.status = status;
    reply.headers.emplace_back("Content-Type", "text/plain; charset=utf-8");
    reply.headers.emplace_back("X-Content-Type-Options", "nosniff");
    reply.body = fmt::format("{}\n", reasonPhrase(status));
    return reply;
}

std::string headerBlock(const Reply& reply, bool keepAlive) {
    std::string block = fmt::format("HTTP/1.1 {} {}\r\nDate: {}\r\n", reply.status,
                                    reasonPhrase(reply.status), httpDate(std::time(nullptr)));
    for (const auto& [name, value] : reply.headers) {
        fmt::format_to(std::back_inserter(block), "{}: {}\r\n", name, value);
    }
    if (reply.status != 204 && reply.status != 304) {
        const std::uint64_t length = reply.file ? reply.file->length : reply.body.size();
        fmt::format_to(std::back_inserter(block), "Content-Length: {}\r\n", length);
    }
    block += keepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n";
    return block;
}

} // namespace

struct HttpServer::Impl {
    Impl(const ListenAddress& wanted, HttpLimits httpLimits);

    asio::awaitable<void> acceptForever();
    void closeAll();

    HttpLimits limits;
    asio::io_context io{1};
    // As many as connections, so that those who wait for one disk never keep the others waiting.
    Workers workers{limits.connections,
                    [this](std::function<void()> task) { asio::post(io, std::move(task)); }};
    tcp::acceptor acceptor{io};
    asio::signal_set signals{io};
    ListenAddress address;
    Handler handler;
    std::set<beast::tcp_stream*> open;
};

namespace {

// One client connection. Its socket resets on close from the first moment; after the client's end
// of stream it is kept until ours has arrived, so that there is nothing left to reset.
class Connection {
  public:
    Connection(tcp::socket socket, const HttpLimits& httpLimits,
               const HttpServer::Handler& requestHandler, Workers& serverWorkers)
        : stream(std::move(socket))
        , limits(httpLimits)
        , handler(requestHandler)
        , workers(serverWorkers) {}

    asio::awaitable<void> serve() {
        bool again = true;
        while (again) {
            again = co_await serveOne();
        }
        beast::error_code ignored;
        (void)stream.socket().close(ignored);
    }

    beast::tcp_stream stream;

  private:
    using Parser = http::request_parser<http::string_body>;

    // Whether another request may follow on this connection.
    asio::awaitable<bool> serveOne() {
        Parser parser;
        parser.header_limit(limits.headerBytes);
        parser.body_limit(limits.bodyBytes);
        stream.expires_after(limits.idle);
        const beast::error_code error = co_await readRequest(parser);
        if (error == http::error::end_of_stream) {
            co_await finish();
            co_return false;
        }
        if (error) {
            const int status = statusFor(error);
            if (status != 0 && co_await send(plainReply(status), false, false)) {
                co_await farewell();
            }
            co_return false;
        }
        const bool isHead = parser.get().method() == http::verb::head;
        auto request = requestOf(parser.get());
        const bool keepAlive = request.has_value() && parser.get().keep_alive();
        Reply reply = request ? handler(*request) : plainReply(400);
        while (reply.onWorker || reply.onServer) {
            if (reply.onWorker) {
                std::function<Reply()> rest = std::move(reply.onWorker);
                reply = co_await workedOut(std::move(rest));
            } else {
                const auto rest = std::move(reply.onServer);
                reply = rest();
            }
        }
        if (!co_await send(std::move(reply), keepAlive, isHead)) {
            co_return false;
        }
        if (!keepAlive) {
            co_await farewell();
        }
        co_return keepAlive;
    }

    asio::awaitable<beast::error_code> readRequest(Parser& parser) {
        auto [error, size] = co_await http::async_read_header(stream, buffer, parser, kAwait);
        if (error) {
            co_return error;
        }
        if (beast::iequals(parser.get()[http::field::expect], "100-continue")) {
            static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
            auto [writeError, written] = co_await asio::async_write(
                stream, asio::buffer(kContinue.data(), kContinue.size()), kAwait);
            if (writeError) {
                co_return writeError;
            }
        }
        if (!parser.is_done()) {
            auto [bodyError, bodySize] = co_await http::async_read(stream, buffer, parser, kAwait);
            co_return bodyError;
        }
        co_return beast::error_code{};
    }

    // The reply that tells a client what was wrong with its bytes; 0 when nobody would read it.
    static int statusFor(const beast::error_code& error) {
        if (error == http::error::header_limit) {
            return 431;
        }
        if (error == http::error::body_limit) {
            return 413;
        }
        const bool isSyntax =
            error.category() == make_error_code(http::error::bad_method).category();
        return isSyntax && error != http::error::partial_message ? 400 : 0;
    }

    asio::awaitable<bool> send(Reply reply, bool keepAlive, bool headerOnly) {
        const std::string header = headerBlock(reply, keepAlive);
        const std::size_t bodySize = headerOnly ? 0 : reply.body.size();
        const std::array<asio::const_buffer, 2> parts{asio::buffer(header),
                                                      asio::buffer(reply.body.data(), bodySize)};
        stream.expires_after(limits.stalledReply);
        auto [error, size] = co_await asio::async_write(stream, parts, kAwait);
        if (error) {
            co_return false;
        }
        if (reply.file && !headerOnly) {
            const bool complete = co_await sendFile(*std::move(reply.file));
            co_return complete;
        }
        co_return true;
    }

    // Lets a task run on a worker; other connections go on meanwhile. The task owns what it
    // touches.
    asio::awaitable<void> work(std::function<void()> task) {
        const auto done = std::make_shared<asio::steady_timer>(
            stream.get_executor(), asio::steady_timer::time_point::max());
        // Rather than cancelled, which would miss a wait that is yet to begin.
        workers.run(std::move(task),
                    [done] { done->expires_at(asio::steady_timer::time_point::min()); });
        co_await done->async_wait(kAwait);
    }

    asio::awaitable<Reply> workedOut(std::function<Reply()> make) {
        const auto reply = std::make_shared<Reply>(plainReply(500));
        stream.expires_never();
        // Named, because g++ 12 destroys a temporary of an awaited expression twice.
        std::function<void()> task = [reply, make = std::move(make)] {
            try {
                *reply = make();
            } catch (const std::exception& error) {
                logLine(error.what());
            }
        };
        co_await work(std::move(task));
        co_return std::move(*reply);
    }

    // Lets a worker move bytes from the file to the socket.
    asio::awaitable<std::optional<std::uint64_t>>
    handOver(std::shared_ptr<FileReader> reader, std::uint64_t offset, std::uint64_t size) {
        const auto taken = std::make_shared<std::optional<std::uint64_t>>();
        const auto socket =
            std::make_shared<UniqueFd>(secondDescriptor(stream.socket().native_handle()));
        beast::error_code error;
        (void)stream.socket().native_non_blocking(true, error);
        if (error || !*socket) {
            co_return std::nullopt;
        }
        stream.expires_never();
        std::function<void()> task = [reader, taken, socket, offset, size] {
            *taken = reader->sendTo(socket->get(), offset, size);
            socket->reset();
        };
        co_await work(std::move(task));
        co_return *taken;
    }

    // A file that turns out shorter than announced ends the connection: a reset is the one way left
    // to say so.
    asio::awaitable<bool> sendFile(FileSlice slice) {
        const auto reader = std::make_shared<FileReader>(
            std::move(slice.file),
            static_cast<std::size_t>(std::min<std::uint64_t>(kStreamChunk, slice.length)));
        std::uint64_t sent = 0;
        bool mayHandOver = slice.length > kStreamChunk;
        while (sent < slice.length) {
            if (mayHandOver) {
                const std::uint64_t rest = std::min(kMostHandedOver, slice.length - sent);
                const auto taken = co_await handOver(reader, slice.offset + sent, rest);
                mayHandOver = taken.has_value();
                sent += taken.value_or(0);
                if (sent == slice.length) {
                    break;
                }
            }
            // The reader is slow, most likely: this waits for it.
            const auto wanted = static_cast<std::size_t>(
                std::min<std::uint64_t>(kStreamChunk, slice.length - sent));
            const std::uint64_t offset = slice.offset + sent;
            std::optional<ssize_t> got = reader->readAtOnce(offset, wanted);
            if (!got) {
                const auto read = std::make_shared<ssize_t>(-1);
                stream.expires_never();
                std::function<void()> task = [reader, read, offset, wanted] {
                    *read = reader->read(offset, wanted);
                };
                co_await work(std::move(task));
                got = *read;
            }
            if (*got <= 0) {
                co_return false;
            }
            const asio::const_buffer filled(reader->data(), static_cast<std::size_t>(*got));
            stream.expires_after(limits.stalledReply);
            auto [error, size] = co_await asio::async_write(stream, filled, kAwait);
            if (error) {
                co_return false;
            }
            sent += static_cast<std::uint64_t>(*got);
        }
        co_return true;
    }

    // After the last reply the client closes first, so that TIME_WAIT is its own; one that does not
    // is reset when the time is over, long after it had the reply.
    asio::awaitable<void> farewell() {
        std::array<char, 4096> scratch{};
        std::uint64_t discarded = 0;
        stream.expires_after(limits.farewell);
        while (discarded < kFarewellBytes) {
            auto [error, size] = co_await stream.async_read_some(asio::buffer(scratch), kAwait);
            if (error == asio::error::eof) {
                co_await finish();
            }
            if (error) {
                co_return;
            }
            discarded += size;
        }
    }

    // Our end of stream, after the client's. A socket that is closed before the client has
    // acknowledged everything holds the port until then, whatever becomes of this process: for a
    // fifth of a second when a packet was lost, and for as long as a client does not read.
    asio::awaitable<void> finish() {
        constexpr std::chrono::milliseconds longestPause{1000};
        const auto deadline = std::chrono::steady_clock::now() + limits.stalledReply;
        beast::error_code error;
        (void)stream.socket().shutdown(tcp::socket::shutdown_send, error);
        asio::steady_timer timer(stream.get_executor());
        std::chrono::milliseconds pause{1};
        while (!error && !hasEnded(stream.socket().native_handle()) &&
               std::chrono::steady_clock::now() < deadline) {
            timer.expires_after(pause);
            co_await timer.async_wait(kAwait);
            pause = std::min(2 * pause, longestPause);
        }
    }

    const HttpLimits& limits;
    const HttpServer::Handler& handler;
    Workers& workers;
    beast::flat_buffer buffer;
};

} // namespace

HttpServer::Impl::Impl(const ListenAddress& wanted, HttpLimits httpLimits)
    : limits(httpLimits)
    , address(wanted) {
    try {
        const tcp::endpoint endpoint(asio::ip::make_address(wanted.host), wanted.port);
        acceptor.open(endpoint.protocol());
        keepFromChildren(acceptor.native_handle());
        // A predecessor that was killed by the system may have left a peer's half-closed connection
        // on the port; a listener there still makes this bind fail.
        acceptor.set_option(tcp::acceptor::reuse_address(true));
        acceptor.bind(endpoint);
        acceptor.listen();
        address.port = acceptor.local_endpoint().port();
        for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
            signals.add(signal);
        }
    } catch (const boost::system::system_error& error) {
        throw std::system_error(
            error.code().value(), std::system_category(),
            fmt::format("cannot listen on {}, port {}", wanted.host, wanted.port));
    }
    signals.async_wait([this](const boost::system::error_code& error, int) {
        if (!error) {
            closeAll();
        }
    });
}

asio::awaitable<void> HttpServer::Impl::acceptForever() {
    while (acceptor.is_open()) {
        auto [error, socket] = co_await acceptor.async_accept(kAwait);
        if (error) {
            asio::steady_timer pause(io, kAcceptPause); // out of descriptors, most likely
            co_await pause.async_wait(kAwait);
            continue;
        }
        keepFromChildren(socket.native_handle());
        resetOnClose(socket.native_handle());
        if (open.size() >= limits.connections) {
            boost::system::error_code ignored;
            (void)socket.close(ignored);
            continue;
        }
        boost::system::error_code ignored;
        (void)socket.set_option(tcp::no_delay(true), ignored);
        auto connection = std::make_shared<Connection>(std::move(socket), limits, handler, workers);
        open.insert(&connection->stream);
        asio::co_spawn(io, connection->serve(), [this, connection](const std::exception_ptr&) {
            open.erase(&connection->stream);
        });
    }
}

void HttpServer::Impl::closeAll() {
    boost::system::error_code ignored;
    (void)acceptor.close(ignored);
    for (beast::tcp_stream* stream : open) {
        resetNow(stream->socket().native_handle());
        (void)stream->socket().close(ignored);
    }
    io.stop();
}

HttpServer::HttpServer(const ListenAddress& address, HttpLimits limits)
    : impl(std::make_unique<Impl>(address, limits)) {}

HttpServer::~HttpServer() {
    impl->closeAll();
}

const ListenAddress& HttpServer::address() const {
    return impl->address;
}

void HttpServer::run(Handler handler) {
    impl->handler = std::move(handler);
    asio::co_spawn(impl->io, impl->acceptForever(), asio::detached);
    impl->io.run();
}

void HttpServer::stop() {
    asio::post(impl->io, [this] { impl->closeAll(); });
}

} // namespace ostrad
