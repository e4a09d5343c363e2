#include "tests/support/loopback/Connection.h"

#include "platform/posix/Socket.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <stdexcept>
#include <utility>

namespace test_support {
namespace {

constexpr std::size_t largestRequest = std::size_t{16} << 20;

platform::posix::Pipe pipeOrThrow() {
    auto made = platform::posix::makePipe();
    if (!made) {
        throw std::runtime_error("LoopbackServer: no pipe");
    }
    return std::move(*made);
}

std::string_view nextLine(std::string_view& text) {
    const auto end = text.find("\r\n");
    const auto line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);
    return line;
}

std::optional<LoopbackServer::Request> parseHead(std::string_view head) {
    LoopbackServer::Request request;
    const auto first = nextLine(head);
    const auto methodEnd = first.find(' ');
    const auto targetEnd = first.rfind(' ');
    if (methodEnd == std::string_view::npos || targetEnd <= methodEnd) {
        return std::nullopt;
    }
    request.method = first.substr(0, methodEnd);
    request.target = first.substr(methodEnd + 1, targetEnd - methodEnd - 1);
    while (!head.empty()) {
        const auto line = nextLine(head);
        const auto colon = line.find(':');
        if (colon == std::string_view::npos) {
            return std::nullopt;
        }
        auto value = line.substr(colon + 1);
        value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
        request.headers.emplace_back(line.substr(0, colon), value);
    }
    return request;
}

std::size_t bodyLength(const LoopbackServer::Request& request) {
    const auto text = request.header("Content-Length").value_or("0");
    std::size_t length = 0;
    std::from_chars(text.data(), text.data() + text.size(), length);
    return length;
}

} // namespace

Connection::Connection(platform::posix::UniqueFd socket, std::atomic<std::size_t>& bytesSent)
    : socket_(std::move(socket))
    , closing_(pipeOrThrow())
    , bytesSent_(bytesSent) {}

bool Connection::waitUntilReady(short events) {
    std::array<pollfd, 2> watched{
        pollfd{.fd = socket_.get(), .events = events, .revents = 0},
        pollfd{.fd = closing_.readEnd.get(), .events = POLLIN, .revents = 0}};
    while (::poll(watched.data(), watched.size(), -1) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return watched[1].revents == 0;
}

bool Connection::fill() {
    std::array<char, 16384> buffer{};
    if (!waitUntilReady(POLLIN)) {
        return false;
    }
    const ssize_t count = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
    if (count <= 0) {
        return false;
    }
    input_.append(buffer.data(), static_cast<std::size_t>(count));
    return input_.size() <= largestRequest;
}

std::optional<LoopbackServer::Request> Connection::read() {
    std::size_t headEnd = input_.find("\r\n\r\n");
    while (headEnd == std::string::npos) {
        if (!fill()) {
            return std::nullopt;
        }
        headEnd = input_.find("\r\n\r\n");
    }
    auto request = parseHead(std::string_view(input_).substr(0, headEnd));
    if (!request) {
        return std::nullopt;
    }
    input_.erase(0, headEnd + 4);
    const std::size_t length = bodyLength(*request);
    while (input_.size() < length) {
        if (!fill()) {
            return std::nullopt;
        }
    }
    request->body = input_.substr(0, length);
    input_.erase(0, length);
    return request;
}

bool Connection::send(std::string_view bytes) {
    while (!bytes.empty()) {
        if (!waitUntilReady(POLLOUT)) {
            return false;
        }
        const ssize_t count =
            platform::posix::sendQuietly(socket_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count < 0 && errno != EAGAIN && errno != EINTR) {
            return false;
        }
        if (count > 0) {
            bytesSent_ += static_cast<std::size_t>(count);
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }
    return true;
}

bool Connection::pause(std::chrono::milliseconds duration) {
    pollfd closing{.fd = closing_.readEnd.get(), .events = POLLIN, .revents = 0};
    return ::poll(&closing, 1, static_cast<int>(duration.count())) == 0;
}

void Connection::waitForEnd() {
    std::array<char, 16384> buffer{};
    while (waitUntilReady(POLLIN) && ::recv(socket_.get(), buffer.data(), buffer.size(), 0) > 0) {
    }
}

void Connection::resetAtEnd() {
    const linger atOnce{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
}

void Connection::close() {
    closing_.writeEnd.reset();
}

} // namespace test_support
