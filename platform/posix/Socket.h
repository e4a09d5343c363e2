// Sockets that no child process inherits: closed on exec from the moment they exist where the
// system can do that, else right afterwards.
#pragma once

namespace platform::posix {

// socket(2): the descriptor, or -1 with errno.
[[nodiscard]] int makeClosedOnExecSocket(int domain, int type, int protocol);

} // namespace platform::posix
