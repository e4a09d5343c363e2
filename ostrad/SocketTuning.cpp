#include "ostrad/SocketTuning.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace ostrad {

void resetOnClose(int socket) {
    const linger option{.l_onoff = 1, .l_linger = 0};
    static_cast<void>(::setsockopt(socket, SOL_SOCKET, SO_LINGER, &option, sizeof option));
}

void resetNow(int socket) {
    resetOnClose(socket);
#ifdef __linux__ // where other threads do have descriptors
    const sockaddr nowhere{.sa_family = AF_UNSPEC, .sa_data = {}};
    static_cast<void>(::connect(socket, &nowhere, sizeof nowhere));
#endif
}

bool hasEnded(int socket) {
#ifdef __APPLE__
    constexpr int question = TCP_CONNECTION_INFO;
    constexpr int closed = 0; // TCPS_CLOSED
    tcp_connection_info info{};
#else
    constexpr int question = TCP_INFO;
    constexpr int closed = TCP_CLOSE;
    tcp_info info{};
#endif
    socklen_t length = sizeof info;
    // A system that has no connection to tell about any more has none.
    return ::getsockopt(socket, IPPROTO_TCP, question, &info, &length) != 0 ||
           info.tcpi_state == closed;
}

int secondDescriptor(int socket) {
    return ::fcntl(socket, F_DUPFD_CLOEXEC, 0);
}

void keepFromChildren(int socket) {
    static_cast<void>(::fcntl(socket, F_SETFD, FD_CLOEXEC));
}

} // namespace ostrad
