// LoopbackPorts over BSD sockets. The probing socket is never inherited by a child process.
// Stateless; any thread.
#pragma once

#include "platform/LoopbackPorts.h"

namespace platform {

class PosixLoopbackPorts final : public LoopbackPorts {
  public:
    [[nodiscard]] std::expected<std::uint16_t, PortFailure> tryBind(std::uint16_t port) override;
};

} // namespace platform
