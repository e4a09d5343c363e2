#include "platform/posix/LocalSocket.h"

#include <unistd.h>

#include <string>

namespace platform::posix {

std::optional<sockaddr_un> localSocketAddress(int /*folder*/, const std::filesystem::path& path,
                                              const char* name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string whole = (path / name).native();
    if (whole.size() >= sizeof address.sun_path) {
        return std::nullopt;
    }
    whole.copy(address.sun_path, whole.size());
    address.sun_len = static_cast<unsigned char>(SUN_LEN(&address));
    return address;
}

bool belongsToThisUser(int connection) {
    uid_t user = 0;
    gid_t group = 0;
    return ::getpeereid(connection, &user, &group) == 0 && user == ::geteuid();
}

} // namespace platform::posix
