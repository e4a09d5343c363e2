// Asks the system whether a TCP port on 127.0.0.1 can be had. The socket that asks uses no
// address-reuse option and is closed before the call returns, so the answer may be out of date a
// moment later. Any thread.
#pragma once

#include <cstdint>
#include <expected>

namespace platform {

// What the system refused, and why.
struct PortFailure {
    // The steps, by the names of their system calls.
    enum class Stage { socket, bind, getsockname };
    Stage stage = Stage::socket; // the one that failed
    std::int32_t errnoValue = 0; // why
};

class LoopbackPorts {
  public:
    virtual ~LoopbackPorts() = default;

    // Binds an IPv4 stream socket to 127.0.0.1:`port` (0: the system chooses) and returns the
    // bound port in host byte order.
    [[nodiscard]] virtual std::expected<std::uint16_t, PortFailure> tryBind(std::uint16_t port) = 0;
};

} // namespace platform
