#include "tests/desktop/session/ServerRequest.h"

#include "platform/posix/UniqueFd.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <sys/socket.h>

#include <array>
#include <cstdlib>
#include <string_view>

namespace desktop {
namespace {

// Servers may leave it to the client to close the connection first.
bool isComplete(const std::string& reply) {
    constexpr std::string_view lengthField = "\r\nContent-Length: ";
    const std::size_t headEnd = reply.find("\r\n\r\n");
    const std::size_t field = reply.find(lengthField);
    if (headEnd == std::string::npos || field >= headEnd) {
        return false;
    }
    const auto length = std::strtoul(reply.c_str() + field + lengthField.size(), nullptr, 10);
    return reply.size() >= headEnd + 4 + length;
}

} // namespace

std::string ask(int port, const ServerRequest& request) {
    const platform::posix::UniqueFd connection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    constexpr timeval limit{.tv_sec = 2, .tv_usec = 0};
    ::setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
        0) {
        return {};
    }
    const std::string text =
        fmt::format("{} {} HTTP/1.1\r\nHost: 127.0.0.1:{}\r\nConnection: close\r\n"
                    "Content-Type: application/json\r\nContent-Length: {}\r\n\r\n{}",
                    request.method, request.path, port, request.json.size(), request.json);
    ::send(connection.get(), text.data(), text.size(), MSG_NOSIGNAL);
    std::string reply;
    std::array<char, 4096> part{};
    while (!isComplete(reply)) {
        const ssize_t size = ::recv(connection.get(), part.data(), part.size(), 0);
        if (size <= 0) {
            break;
        }
        reply.append(part.data(), static_cast<std::size_t>(size));
    }
    return reply;
}

} // namespace desktop
