// One HTTP/1.1 request to a server on 127.0.0.1, on a connection of its own.
#pragma once

#include <string>

namespace desktop {

struct ServerRequest {
    std::string method = "GET";
    std::string path;
    std::string json = {}; // the body
};

// The whole reply, its head first. An empty string when nobody listens; what had come when the
// server closed the connection or was silent for two seconds.
[[nodiscard]] std::string ask(int port, const ServerRequest& request);

} // namespace desktop
