#include "tests/ostrad/RawClient.h"

#include "platform/posix/Socket.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <stdexcept>

namespace ostrad::test {

namespace {

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

} // namespace

RawClient::RawClient(std::uint16_t port)
    : fd(platform::posix::makeClosedOnExecSocket(AF_INET, SOCK_STREAM, 0)) {
    const timeval patience{.tv_sec = 10, .tv_usec = 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    const sockaddr_in address = loopback(port);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        throw std::runtime_error(fmt::format("cannot connect to port {}: {}", port, errno));
    }
}

RawClient::~RawClient() {
    ::close(fd);
}

void RawClient::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = platform::posix::sendQuietly(fd, bytes.data(), bytes.size());
        if (sent <= 0) {
            return; // the server has closed; what it said is for the reader to find
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

void RawClient::finishSending() {
    ::shutdown(fd, SHUT_WR);
}

std::string RawClient::readBytes(std::size_t count) {
    std::array<char, 65536> chunk{};
    while (buffered.size() < count) {
        const ssize_t got = ::recv(fd, chunk.data(), chunk.size(), 0);
        if (got <= 0) {
            throw std::runtime_error(
                fmt::format("the connection ended after {} bytes", buffered.size()));
        }
        buffered.append(chunk.data(), static_cast<std::size_t>(got));
    }
    std::string bytes = buffered.substr(0, count);
    buffered.erase(0, count);
    return bytes;
}

RawReply RawClient::readReply(bool hasBody) {
    std::string head;
    while (!head.ends_with("\r\n\r\n")) {
        head += readBytes(1);
    }
    RawReply reply;
    reply.status = std::stoi(head.substr(head.find(' ') + 1, 3));
    std::string_view rest = std::string_view(head).substr(head.find("\r\n") + 2);
    while (rest.size() > 2) {
        const std::string_view line = rest.substr(0, rest.find("\r\n"));
        const std::size_t colon = line.find(": ");
        std::string name(line.substr(0, colon));
        std::ranges::transform(name, name.begin(),
                               [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        reply.headers[name] = line.substr(colon + 2);
        rest.remove_prefix(line.size() + 2);
    }
    const std::string length = reply.header("content-length");
    if (hasBody && !length.empty()) {
        reply.body = readBytes(std::stoul(length));
    }
    return reply;
}

bool RawClient::isClosedByServer() {
    char byte = 0;
    const ssize_t got = ::recv(fd, &byte, 1, 0);
    return got == 0 || (got < 0 && errno == ECONNRESET);
}

bool RawClient::endsOrderly() {
    char byte = 0;
    return ::recv(fd, &byte, 1, 0) == 0;
}

std::string requestText(std::uint16_t port, std::string_view method, std::string_view target,
                        std::string_view extraLines, std::string_view body) {
    std::string text =
        fmt::format("{} {} HTTP/1.1\r\nHost: 127.0.0.1:{}\r\n{}", method, target, port, extraLines);
    if (!body.empty()) {
        text += fmt::format("Content-Length: {}\r\n", body.size());
    }
    return text + "\r\n" + std::string(body);
}

RawReply exchange(std::uint16_t port, std::string_view method, std::string_view target,
                  std::string_view extraLines, std::string_view body) {
    RawClient client(port);
    client.send(requestText(port, method, target, extraLines, body));
    return client.readReply(method != "HEAD");
}

RawReply postJson(std::uint16_t port, std::string_view target, std::string_view body,
                  std::string_view extraLines) {
    return exchange(port, "POST", target,
                    "Content-Type: application/json\r\n" + std::string(extraLines), body);
}

bool canBindPlainly(std::uint16_t port) {
    const int probe = platform::posix::makeClosedOnExecSocket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(port);
    const bool bound =
        ::bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(probe);
    return bound;
}

} // namespace ostrad::test
