#include "tests/desktop/session/PortStealer.h"

#include "platform/posix/Socket.h"
#include "platform/posix/UniqueFd.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <string_view>

namespace desktop {
namespace {

using platform::posix::UniqueFd;

constexpr int pauseMs = 1;

bool takes(int listener, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr generic{};
    std::memcpy(&generic, &address, sizeof(address));
    // So that connections of the one who had it do not keep him from it.
    const int on = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    return ::bind(listener, &generic, sizeof(generic)) == 0 && ::listen(listener, 16) == 0;
}

bool isReadyWithin(int descriptor, int milliseconds) {
    pollfd watched{.fd = descriptor, .events = POLLIN, .revents = 0};
    return ::poll(&watched, 1, milliseconds) > 0;
}

} // namespace

PortStealer::PortStealer(std::uint16_t port, std::chrono::milliseconds longestTenure)
    : thread_([this, port, turns = static_cast<int>(longestTenure.count())] { run(port, turns); }) {
}

PortStealer::~PortStealer() {
    stopping_ = true;
    thread_.join();
}

std::vector<std::string> PortStealer::misdirected() const {
    const std::lock_guard lock(mutex_);
    return misdirected_;
}

void PortStealer::run(std::uint16_t port, int longestTenure) {
    std::mt19937 random{std::random_device{}()};
    while (!stopping_) {
        const UniqueFd listener(platform::posix::makeClosedOnExecSocket(AF_INET, SOCK_STREAM, 0));
        if (listener && takes(listener.get(), port)) {
            ++thefts_;
            serve(listener.get(), std::uniform_int_distribution(1, longestTenure)(random));
        }
        ::poll(nullptr, 0, pauseMs);
    }
}

void PortStealer::serve(int listener, int turns) {
    for (int turn = 0; turn < turns && !stopping_; ++turn) {
        if (isReadyWithin(listener, pauseMs)) {
            const UniqueFd connection(::accept(listener, nullptr, nullptr));
            if (connection) {
                answer(connection.get());
            }
        }
    }
}

void PortStealer::answer(int connection) {
    char bytes[8192];
    if (!isReadyWithin(connection, 200)) {
        return;
    }
    const ssize_t count = ::recv(connection, bytes, sizeof bytes, 0);
    const std::string_view request(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
    const std::string line(request.substr(0, request.find("\r\n")));
    if (!line.empty() &&
        (!line.starts_with("GET /api/health ") || request.contains("\r\nCookie:"))) {
        const std::lock_guard lock(mutex_);
        misdirected_.push_back(line);
    }
    constexpr std::string_view reply = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n"
                                       "Content-Length: 9\r\nConnection: close\r\n\r\nstranger\n";
    [[maybe_unused]] const ssize_t sent =
        ::send(connection, reply.data(), reply.size(), MSG_NOSIGNAL);
}

} // namespace desktop
