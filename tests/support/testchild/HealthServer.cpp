#include "tests/support/testchild/HealthServer.h"

#include "tests/support/testchild/Output.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>

namespace testchild {
namespace {

std::string nonce() {
    const char* value = std::getenv("MEDIASERVER_HEALTH_NONCE");
    return value == nullptr ? std::string() : std::string(value);
}

std::string healthBody(const std::string& shown, std::string_view colon, std::string_view extra) {
    return "{\"status\":\"ok\",\"nonce\"" + std::string(colon) + '"' + shown + "\"" +
           std::string(extra) + "}";
}

std::string response(std::string_view status, const std::string& body,
                     std::string_view headers = {}) {
    return "HTTP/1.1 " + std::string(status) + "\r\n" + std::string(headers) +
           "Content-Type: application/json\r\nConnection: close\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

// A peer that is gone is no reason to end, so not write().
bool sendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket, bytes.data(), bytes.size(), 0);
        if (count < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// The first line and headers, or what came of them.
std::string readRequest(int socket) {
    constexpr std::size_t most = 16384;
    std::string request;
    char piece[1024];
    while (request.size() < most && request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t count = ::recv(socket, piece, sizeof piece, 0);
        if (count <= 0) {
            break;
        }
        request.append(piece, static_cast<std::size_t>(count));
    }
    return request;
}

void drip(int socket) {
    const std::string whole = response("200 OK", healthBody(nonce(), ":", ""));
    for (const char& letter : whole) {
        if (!sendAll(socket, {&letter, 1})) {
            return;
        }
        ::poll(nullptr, 0, 100);
    }
}

void sendWithoutEnd(int socket) {
    const std::string piece(65536, 'x');
    bool reading = sendAll(socket, "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" +
                                       healthBody(nonce(), ":", ""));
    while (reading) {
        reading = sendAll(socket, piece);
    }
}

void resetConnection(int socket) {
    const linger now = {.l_onoff = 1, .l_linger = 0};
    ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

void waitForTheOtherSide(int socket) {
    char byte = 0;
    while (::recv(socket, &byte, 1, 0) > 0) {
    }
}

// The modes that are nothing but a reply; empty for the others.
std::string replyFor(HealthMode mode) {
    switch (mode) {
    case HealthMode::ok:
        return response("200 OK", healthBody(nonce(), ":", ""));
    case HealthMode::wrongNonce:
        return response("200 OK", healthBody(nonce() + "0", ":", ""));
    case HealthMode::spaced:
        return response("200 OK", healthBody(nonce(), ": ", ""));
    case HealthMode::badUtf8:
        return response("200 OK", healthBody(nonce(), ":", ",\"name\":\"\xff\""));
    case HealthMode::empty:
        return response("200 OK", "");
    case HealthMode::noContent:
        return "HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n";
    case HealthMode::serverError:
        return response("500 Internal Server Error", healthBody(nonce(), ":", ""));
    case HealthMode::redirect:
        return response("302 Found", "", "Location: /elsewhere\r\n");
    default:
        return {};
    }
}

void answer(int socket, HealthMode mode) {
    const std::string reply = replyFor(mode);
    if (!reply.empty()) {
        sendAll(socket, reply);
    } else if (mode == HealthMode::drip) {
        drip(socket);
    } else if (mode == HealthMode::endless) {
        sendWithoutEnd(socket);
    } else if (mode == HealthMode::reset) {
        resetConnection(socket);
    } else {
        waitForTheOtherSide(socket);
    }
}

void serveConnection(int socket, HealthMode mode, bool unhealthy) {
    const bool elsewhere = readRequest(socket).starts_with("GET /elsewhere ");
    if (unhealthy) {
        sendAll(socket, response("503 Service Unavailable", "{}"));
    } else {
        answer(socket, elsewhere ? HealthMode::ok : mode);
    }
    ::close(socket);
}

[[noreturn]] void cannotListen(const std::string& address) {
    write(STDERR_FILENO, "zorvane-testchild: cannot listen on " + address + '\n');
    ::_exit(69);
}

int listenOn(const std::string& address) {
    const auto colon = address.rfind(':');
    sockaddr_in where = {};
    where.sin_family = AF_INET;
    if (colon == std::string::npos ||
        ::inet_pton(AF_INET, address.substr(0, colon).c_str(), &where.sin_addr) != 1) {
        cannotListen(address);
    }
    where.sin_port = htons(static_cast<std::uint16_t>(std::atoi(address.c_str() + colon + 1)));
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    const int on = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0 ||
        ::listen(listener, 64) != 0) {
        cannotListen(address);
    }
    return listener;
}

[[noreturn]] void hang() {
    for (;;) {
        ::pause();
    }
}

} // namespace

std::optional<HealthMode> healthModeNamed(std::string_view name) {
    static const std::map<std::string_view, HealthMode> modes = {
        {"ok", HealthMode::ok},           {"wrong-nonce", HealthMode::wrongNonce},
        {"spaced", HealthMode::spaced},   {"bad-utf8", HealthMode::badUtf8},
        {"empty", HealthMode::empty},     {"204", HealthMode::noContent},
        {"500", HealthMode::serverError}, {"redirect", HealthMode::redirect},
        {"hang", HealthMode::hang},       {"drip", HealthMode::drip},
        {"endless", HealthMode::endless}, {"reset", HealthMode::reset},
        {"none", HealthMode::none},
    };
    const auto found = modes.find(name);
    return found == modes.end() ? std::nullopt : std::optional(found->second);
}

void serveHealth(const std::string& address, HealthPlan plan) {
    if (plan.mode == HealthMode::none) {
        hang();
    }
    ::signal(SIGPIPE, SIG_IGN);
    const int listener = listenOn(address);
    int served = 0;
    for (;;) {
        const int socket = ::accept(listener, nullptr, nullptr);
        if (socket < 0) {
            continue;
        }
        const bool unhealthy = served < plan.unhealthyFirst;
        ++served;
        std::thread(serveConnection, socket, plan.mode, unhealthy).detach();
    }
}

} // namespace testchild
