// The smallest server that keeps Zorvane's contract (docs/server.md): a page and a health reply.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

namespace {

std::string answerTo(std::string_view request) {
    std::string status = "200 OK";
    std::string type = "text/html; charset=utf-8";
    std::string body =
        "<!doctype html><html lang=en><title>Minimal</title><h1>It works</h1></html>\n";
    if (request.starts_with("GET /api/health ")) {
        const char* const nonce = std::getenv("MEDIASERVER_HEALTH_NONCE");
        type = "application/json";
        // No blank around the colon: the application compares letters.
        body = std::string(R"({"status":"ok","nonce":")") + (nonce == nullptr ? "" : nonce) + "\"}";
    } else if (!request.starts_with("GET / ")) {
        status = "404 Not Found";
        body = "There is nothing here.\n";
    }
    return "HTTP/1.1 " + status + "\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

// Request after request, until the client ends the connection.
void serve(int connection) {
    std::string request;
    char piece[4096];
    ssize_t count = 0;
    while ((count = ::recv(connection, piece, sizeof piece, 0)) > 0 && request.size() < 65536) {
        request.append(piece, static_cast<std::size_t>(count));
        for (auto end = request.find("\r\n\r\n"); end != std::string::npos;
             end = request.find("\r\n\r\n")) {
            const std::string reply = answerTo(request);
            if (::send(connection, reply.data(), reply.size(), 0) < 0) {
                break;
            }
            request.erase(0, end + 4);
        }
    }
    ::close(connection);
}

} // namespace

int main(int count, char** arguments) {
    std::string address = "127.0.0.1:4280";
    for (int index = 1; index < count; ++index) {
        if (std::string_view(arguments[index]) == "-version") {
            std::puts("1.0.0");
            return 0;
        }
        if (std::string_view(arguments[index]) == "-addr" && index + 1 < count) {
            address = arguments[++index];
        }
    }
    std::signal(SIGPIPE, SIG_IGN); // SIGTERM keeps its default: it ends the process
    const auto colon = address.rfind(':');
    sockaddr_in where = {};
    where.sin_family = AF_INET;
    where.sin_port = htons(static_cast<std::uint16_t>(std::atoi(address.c_str() + colon + 1)));
    ::inet_pton(AF_INET, address.substr(0, colon).c_str(), &where.sin_addr);
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0 ||
        ::listen(listener, 64) != 0) {
        std::perror(address.c_str());
        return 1;
    }
    std::printf("listening on http://%s/\n", address.c_str());
    std::fflush(stdout);
    for (;;) {
        const int connection = ::accept(listener, nullptr, nullptr);
        // Reset instead of lingering in TIME_WAIT, so that the port is free when this server ends.
        const linger now = {.l_onoff = 1, .l_linger = 0};
        ::setsockopt(connection, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        std::thread(serve, connection).detach();
    }
}
