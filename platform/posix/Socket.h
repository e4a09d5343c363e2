// Sockets that no child process inherits: closed on exec from the moment they exist where the
// system can do that, else right afterwards.
#pragma once

#include <sys/types.h>

#include <cstddef>

namespace platform::posix {

// socket(2): the descriptor, or -1 with errno.
[[nodiscard]] int makeClosedOnExecSocket(int domain, int type, int protocol);

// socketpair(2) of two stream sockets: 0, or -1 with errno.
[[nodiscard]] int makeStreamSocketPair(int (&ends)[2]);

// All of it, or false with errno; a peer that is gone is EPIPE and never SIGPIPE. For sockets that
// were made by makeStreamSocketPair().
[[nodiscard]] bool sendAll(int socket, const void* bytes, std::size_t size);

// accept(2): the descriptor, or -1 with errno.
[[nodiscard]] int acceptClosedOnExec(int listening);

// send(2) to a socket that was made here and whose other end may be gone: EPIPE then, and no
// signal.
[[nodiscard]] ssize_t sendQuietly(int socket, const void* bytes, std::size_t size, int flags = 0);

} // namespace platform::posix
