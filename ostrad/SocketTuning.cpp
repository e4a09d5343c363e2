#include "ostrad/SocketTuning.h"

#include <fcntl.h>
#include <sys/socket.h>

namespace ostrad {

namespace {

void setLinger(int socket, bool on) {
    const linger option{.l_onoff = on ? 1 : 0, .l_linger = 0};
    static_cast<void>(::setsockopt(socket, SOL_SOCKET, SO_LINGER, &option, sizeof option));
}

} // namespace

void resetOnClose(int socket) {
    setLinger(socket, true);
}

void resetNow(int socket) {
    resetOnClose(socket);
#ifdef __linux__ // where other threads do have descriptors
    const sockaddr nowhere{.sa_family = AF_UNSPEC, .sa_data = {}};
    static_cast<void>(::connect(socket, &nowhere, sizeof nowhere));
#endif
}

void finishOnClose(int socket) {
    setLinger(socket, false);
}

int secondDescriptor(int socket) {
    return ::fcntl(socket, F_DUPFD_CLOEXEC, 0);
}

void keepFromChildren(int socket) {
    static_cast<void>(::fcntl(socket, F_SETFD, FD_CLOEXEC));
}

} // namespace ostrad
