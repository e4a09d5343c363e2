// One accepted connection of a LoopbackServer, with waits that end when the server stops or
// closes its connections. Used by the connection's own thread, except for close().
#pragma once

#include "platform/posix/Pipe.h"
#include "platform/posix/UniqueFd.h"
#include "tests/support/loopback/LoopbackServer.h"

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace test_support {

class Connection {
  public:
    Connection(platform::posix::UniqueFd socket, std::atomic<std::size_t>& bytesSent);

    // The next whole request; nothing at the end of the connection or when it is no HTTP.
    [[nodiscard]] std::optional<LoopbackServer::Request> read();
    // False when the other side is gone or the connection was closed from here.
    bool send(std::string_view bytes);
    // False when the connection ended meanwhile.
    bool pause(std::chrono::milliseconds duration);
    // Reads and forgets until the other side is gone or the connection was closed from here.
    void waitForEnd();
    // Makes the end of this connection a TCP reset.
    void resetAtEnd();
    // Any thread: ends every wait, now and later.
    void close();

  private:
    [[nodiscard]] bool waitUntilReady(short events);
    [[nodiscard]] bool fill();

    platform::posix::UniqueFd socket_;
    platform::posix::Pipe closing_;
    std::atomic<std::size_t>& bytesSent_;
    std::string input_;
};

} // namespace test_support
