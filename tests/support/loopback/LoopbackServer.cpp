#include "tests/support/loopback/LoopbackServer.h"

#include "platform/posix/Socket.h"
#include "tests/support/loopback/Connection.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace test_support {
namespace {

namespace posix = platform::posix;
using platform::posix::UniqueFd;
using Misbehaviour = LoopbackServer::Misbehaviour;
using Reply = LoopbackServer::Reply;
using Request = LoopbackServer::Request;

constexpr std::string_view okHead = "HTTP/1.1 200 OK\r\n";
constexpr std::string_view chunkedHead = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

std::optional<std::string_view> fieldOf(const LoopbackServer::Headers& headers,
                                        std::string_view name) {
    const auto same = [name](const auto& field) {
        return field.first.size() == name.size() &&
               ::strncasecmp(field.first.c_str(), name.data(), name.size()) == 0;
    };
    const auto found = std::ranges::find_if(headers, same);
    return found == headers.end() ? std::nullopt : std::optional<std::string_view>(found->second);
}

std::string textOf(const Reply& reply, const std::string& method) {
    std::string text = "HTTP/1.1 " + std::to_string(reply.status) + " Scripted\r\n";
    for (const auto& [name, value] : reply.headers) {
        text.append(name).append(": ").append(value).append("\r\n");
    }
    const bool hasBody = reply.status >= 200 && reply.status != 204 && reply.status != 304;
    if (hasBody && !fieldOf(reply.headers, "Content-Length") &&
        !fieldOf(reply.headers, "Transfer-Encoding")) {
        text += "Content-Length: " + std::to_string(reply.body.size()) + "\r\n";
    }
    text += "\r\n";
    return method == "HEAD" ? text : text + reply.body;
}

sockaddr genericAddress(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr generic{};
    std::memcpy(&generic, &address, sizeof(address));
    return generic;
}

[[noreturn]] void throwErrno(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

UniqueFd listenSomewhere() {
    UniqueFd socket(posix::makeClosedOnExecSocket(AF_INET, SOCK_STREAM, 0));
    const sockaddr address = genericAddress(0);
    if (!socket || ::fcntl(socket.get(), F_SETFL, O_NONBLOCK) != 0 ||
        ::bind(socket.get(), &address, sizeof(address)) != 0 || ::listen(socket.get(), 128) != 0) {
        throwErrno("LoopbackServer");
    }
    return socket;
}

std::uint16_t boundPort(const UniqueFd& socket) {
    sockaddr generic{};
    socklen_t length = sizeof(generic);
    if (::getsockname(socket.get(), &generic, &length) != 0) {
        throwErrno("LoopbackServer");
    }
    sockaddr_in address{};
    std::memcpy(&address, &generic, sizeof(address));
    return ntohs(address.sin_port);
}

void sendForever(Connection& connection, std::string_view head, const std::string& piece) {
    if (connection.send(head)) {
        while (connection.send(piece)) {
        }
    }
}

void dripForever(Connection& connection, std::string_view head,
                 std::chrono::milliseconds interval) {
    if (connection.send(head)) {
        while (connection.pause(interval) && connection.send("x")) {
        }
    }
}

// gzip of zeros: one deflate block whose fixed Huffman codes repeat distance 1, length 258.
std::string gzipOfZeros(std::size_t megabytes) {
    std::string bits = "1"; // last block
    bits += "10";           // fixed Huffman codes, least significant bit first
    bits += "00110000";     // a literal zero byte
    const std::size_t repeats = (megabytes << 20) / 258;
    for (std::size_t i = 0; i < repeats; ++i) {
        bits += "1100010100000"; // length 258 (code 285), distance 1 (code 0)
    }
    bits += "0000000"; // end of block
    std::string packed("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10);
    for (std::size_t i = 0; i < bits.size(); i += 8) {
        unsigned byte = 0;
        for (std::size_t bit = 0; bit < 8 && i + bit < bits.size(); ++bit) {
            byte |= static_cast<unsigned>(bits[i + bit] == '1') << bit;
        }
        packed += static_cast<char>(byte);
    }
    return packed;
}

} // namespace

std::optional<std::string_view> LoopbackServer::Request::header(std::string_view name) const {
    return fieldOf(headers, name);
}

struct LoopbackServer::State {
    UniqueFd listening = listenSomewhere();
    const std::uint16_t port = boundPort(listening);
    platform::posix::Pipe stopping = *platform::posix::makePipe();
    std::thread acceptor;

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    Handler handler;
    Misbehaviour misbehaviour = Misbehaviour::none;
    std::chrono::milliseconds interval{10};
    std::vector<Request> requests;
    std::size_t accepted = 0;
    std::vector<std::weak_ptr<Connection>> connections;
    std::list<std::thread> threads;
    std::atomic<std::size_t> bytesSent = 0;

    void acceptUntilStopped();
    void serve(Connection& connection);
    Reply answer(const Request& request);
    Misbehaviour record(const Request& request);
    void misbehave(Misbehaviour how, const Request& request, Connection& connection);
    bool waitFor(const std::function<bool()>& condition) const;
    std::chrono::milliseconds pauseLength() const;
    void closeAll();
};

void LoopbackServer::State::acceptUntilStopped() {
    std::array<pollfd, 2> watched{
        pollfd{.fd = listening.get(), .events = POLLIN, .revents = 0},
        pollfd{.fd = stopping.readEnd.get(), .events = POLLIN, .revents = 0}};
    while (::poll(watched.data(), watched.size(), -1) >= 0 && watched[1].revents == 0) {
        UniqueFd socket(posix::acceptClosedOnExec(listening.get()));
        if (!socket) {
            continue;
        }
        auto connection = std::make_shared<Connection>(std::move(socket), bytesSent);
        const std::scoped_lock lock(mutex);
        ++accepted;
        connections.emplace_back(connection);
        // The thread's own reference is the last one: its end closes the socket.
        threads.emplace_back([this, own = std::move(connection)]() mutable {
            const auto last = std::move(own);
            serve(*last);
        });
        changed.notify_all();
    }
}

void LoopbackServer::State::serve(Connection& connection) {
    {
        const std::scoped_lock lock(mutex);
        if (misbehaviour == Misbehaviour::closeWithoutReading) {
            return;
        }
    }
    while (const auto request = connection.read()) {
        const Misbehaviour how = record(*request);
        if (how != Misbehaviour::none) {
            misbehave(how, *request, connection);
            return;
        }
        const Reply reply = answer(*request);
        if (!connection.send(textOf(reply, request->method)) || reply.closeAfterwards) {
            return;
        }
    }
}

Misbehaviour LoopbackServer::State::record(const Request& request) {
    const std::scoped_lock lock(mutex);
    requests.push_back(request);
    changed.notify_all();
    return misbehaviour;
}

Reply LoopbackServer::State::answer(const Request& request) {
    Handler current;
    {
        const std::scoped_lock lock(mutex);
        current = handler;
    }
    return current ? current(request) : Reply{.body = "ok"};
}

void LoopbackServer::State::misbehave(Misbehaviour how, const Request& request,
                                      Connection& connection) {
    const std::string kilobytes(std::size_t{64} << 10, 'x');
    const std::string chunk = "10000\r\n" + kilobytes + "\r\n";
    const auto sayAndEnd = [&](std::string_view text) { connection.send(text); };
    switch (how) {
    case Misbehaviour::none:
    case Misbehaviour::closeWithoutReading:
    case Misbehaviour::closeBeforeAnswering:
        return;
    case Misbehaviour::neverAnswer:
        return connection.waitForEnd();
    case Misbehaviour::resetBeforeAnswering:
        return connection.resetAtEnd();
    case Misbehaviour::resetMidBody:
        connection.resetAtEnd();
        return sayAndEnd("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n01234");
    case Misbehaviour::closeMidBody:
        return sayAndEnd("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n01234");
    case Misbehaviour::closeMidHeader:
        return sayAndEnd("HTTP/1.1 200 OK\r\nContent-Le");
    case Misbehaviour::closeAfterReply:
        return sayAndEnd(textOf(answer(request), request.method));
    case Misbehaviour::dripBody:
        return dripForever(connection, "HTTP/1.1 200 OK\r\n\r\n", pauseLength());
    case Misbehaviour::dripHeader:
        return dripForever(connection, "HTTP/1.1 200 OK\r\nSlow: ", pauseLength());
    case Misbehaviour::endlessBody:
        return sendForever(connection, "HTTP/1.1 200 OK\r\n\r\n", kilobytes);
    case Misbehaviour::endlessChunks:
        return sendForever(connection, chunkedHead, chunk);
    case Misbehaviour::endlessHeader:
        return sendForever(connection, okHead, "Field: " + std::string(200, 'x') + "\r\n");
    case Misbehaviour::endlessHeaderLine:
        return sendForever(connection, "HTTP/1.1 200 OK\r\nField: ", kilobytes);
    case Misbehaviour::endlessInterimResponses:
        return sendForever(connection, "", "HTTP/1.1 100 Continue\r\n\r\n");
    case Misbehaviour::endlessRedirectBody:
        return sendForever(
            connection, "HTTP/1.1 302 Found\r\nLocation: /\r\nTransfer-Encoding: chunked\r\n\r\n",
            chunk);
    case Misbehaviour::hugeContentLength:
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1000000000000\r\n\r\n");
        return connection.waitForEnd();
    case Misbehaviour::negativeContentLength:
        return sayAndEnd("HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\nbody");
    case Misbehaviour::redirectLoop:
        return sayAndEnd("HTTP/1.1 302 Found\r\nContent-Length: 0\r\nConnection: close\r\n"
                         "Location: " +
                         request.target + "\r\n\r\n");
    case Misbehaviour::brokenChunk:
        return sayAndEnd(std::string(chunkedHead) + "5\r\nhello\r\nwhat?\r\n");
    case Misbehaviour::unfinishedChunks:
        return sayAndEnd(std::string(chunkedHead) + "5\r\nhello\r\n5\r\nwo");
    case Misbehaviour::compressionBomb: {
        const std::string packed = gzipOfZeros(64);
        std::array<char, 16> size{};
        std::snprintf(size.data(), size.size(), "%zx\r\n", packed.size());
        return sayAndEnd("HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip, chunked\r\n\r\n" +
                         std::string(size.data()) + packed + "\r\n0\r\n\r\n");
    }
    case Misbehaviour::garbage:
        return sayAndEnd("\x01\x02\x03 these are not the bytes of a reply\r\n\r\n\xff\xfe");
    case Misbehaviour::emptyStatusLine:
        return sayAndEnd("HTTP/1.1 \r\n\r\n");
    case Misbehaviour::nulInHeader:
        return sayAndEnd(std::string(okHead) + "Field: a" + std::string(1, '\0') +
                         "b\r\nContent-Length: 2\r\n\r\nok");
    case Misbehaviour::answersTwice: {
        const std::string reply = textOf(answer(request), request.method);
        connection.send(reply + reply);
        return connection.waitForEnd();
    }
    }
}

bool LoopbackServer::State::waitFor(const std::function<bool()>& condition) const {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(30), condition);
}

std::chrono::milliseconds LoopbackServer::State::pauseLength() const {
    const std::scoped_lock lock(mutex);
    return interval;
}

void LoopbackServer::State::closeAll() {
    const std::scoped_lock lock(mutex);
    for (const auto& weak : connections) {
        if (const auto connection = weak.lock()) {
            connection->close();
        }
    }
    connections.clear();
}

LoopbackServer::LoopbackServer(Handler handler)
    : state_(std::make_unique<State>()) {
    state_->handler = std::move(handler);
    state_->acceptor = std::thread([state = state_.get()] { state->acceptUntilStopped(); });
}

LoopbackServer::LoopbackServer(Misbehaviour misbehaviour)
    : LoopbackServer() {
    setMisbehaviour(misbehaviour);
}

LoopbackServer::~LoopbackServer() {
    state_->stopping.writeEnd.reset();
    state_->acceptor.join();
    state_->closeAll();
    for (auto& thread : state_->threads) {
        thread.join();
    }
}

void LoopbackServer::setHandler(Handler handler) {
    const std::scoped_lock lock(state_->mutex);
    state_->handler = std::move(handler);
}

void LoopbackServer::setMisbehaviour(Misbehaviour misbehaviour) {
    const std::scoped_lock lock(state_->mutex);
    state_->misbehaviour = misbehaviour;
}

void LoopbackServer::setInterval(std::chrono::milliseconds interval) {
    const std::scoped_lock lock(state_->mutex);
    state_->interval = interval;
}

std::uint16_t LoopbackServer::port() const {
    return state_->port;
}

std::string LoopbackServer::url(std::string_view target) const {
    return "http://127.0.0.1:" + std::to_string(port()) + std::string(target);
}

std::vector<LoopbackServer::Request> LoopbackServer::requests() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->requests;
}

std::size_t LoopbackServer::connectionCount() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->accepted;
}

std::size_t LoopbackServer::bytesSent() const {
    return state_->bytesSent;
}

bool LoopbackServer::waitForRequests(std::size_t count) const {
    return state_->waitFor([this, count] { return state_->requests.size() >= count; });
}

bool LoopbackServer::waitForConnections(std::size_t count) const {
    return state_->waitFor([this, count] { return state_->accepted >= count; });
}

void LoopbackServer::closeConnections() {
    state_->closeAll();
}

} // namespace test_support
