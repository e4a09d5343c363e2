// What each system has of its own about sockets that are files. Any thread.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <filesystem>
#include <optional>

namespace platform::posix {

// The address of `name` in a folder, of which both a descriptor and the path are given. Nothing
// when the path is longer than an address may be and the system knows no other way.
[[nodiscard]] std::optional<sockaddr_un>
localSocketAddress(int folder, const std::filesystem::path& path, const char* name);

// Whether at the other end of the connection is a process of this user.
[[nodiscard]] bool belongsToThisUser(int connection);

} // namespace platform::posix
