#include "platform/posix/LocalSocket.h"

#include <unistd.h>

#include <cstdio>

namespace platform::posix {

// An address holds 107 bytes, less than a path may have; the folder's descriptor makes it short.
std::optional<sockaddr_un> localSocketAddress(int folder, const std::filesystem::path& /*path*/,
                                              const char* name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const int length = std::snprintf(address.sun_path, sizeof address.sun_path,
                                     "/proc/self/fd/%d/%s", folder, name);
    return length > 0 && static_cast<std::size_t>(length) < sizeof address.sun_path
               ? std::optional(address)
               : std::nullopt;
}

bool belongsToThisUser(int connection) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == ::geteuid();
}

} // namespace platform::posix
