#include "platform/posix/PosixLoopbackPorts.h"

#include "platform/posix/Socket.h"
#include "platform/posix/UniqueFd.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace platform {
namespace {

std::unexpected<PortFailure> failure(PortFailure::Stage stage) {
    return std::unexpected(PortFailure{.stage = stage, .errnoValue = errno});
}

} // namespace

std::expected<std::uint16_t, PortFailure> PosixLoopbackPorts::tryBind(std::uint16_t port) {
    const posix::UniqueFd socket(posix::makeClosedOnExecSocket(AF_INET, SOCK_STREAM, 0));
    if (!socket) {
        return failure(PortFailure::Stage::socket);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr generic{};
    static_assert(sizeof(generic) == sizeof(address));
    std::memcpy(&generic, &address, sizeof(address));
    if (::bind(socket.get(), &generic, sizeof(generic)) != 0) {
        return failure(PortFailure::Stage::bind);
    }
    socklen_t length = sizeof(generic);
    if (::getsockname(socket.get(), &generic, &length) != 0) {
        return failure(PortFailure::Stage::getsockname);
    }
    std::memcpy(&address, &generic, sizeof(address));
    return ntohs(address.sin_port);
}

} // namespace platform
