#include "platform/linux/DisplaySocket.h"

#include "platform/posix/UniqueFd.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

namespace platform::desktop {
namespace {

std::string describeVariable(const Environment& environment, const char* name) {
    const std::string value = valueOf(environment, name);
    return value.empty() ? fmt::format("{} is not set", name)
                         : fmt::format("{} is \"{}\"", name, value);
}

// An abstract name begins with a zero byte.
bool somebodyListens(const std::string& name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.empty() || name.size() >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, name.data(), name.size());
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size() +
                                             (name.front() == '\0' ? 0 : 1));
    const posix::UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) {
        return true; // nothing is known
    }
    // A full queue of connections is somebody, too.
    return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), size) == 0 ||
           errno == EAGAIN;
}

// [PROTOCOL/][HOST]:NUMBER[.SCREEN]
bool x11IsThere(const std::string& display) {
    const std::size_t colon = display.rfind(':');
    if (display.empty() || colon == std::string::npos) {
        return false;
    }
    std::string host = display.substr(0, colon);
    if (const std::size_t slash = host.rfind('/'); slash != std::string::npos) {
        host = host.substr(slash + 1);
    }
    if (!host.empty() && host != "unix") {
        return true;
    }
    const std::string rest = display.substr(colon + 1);
    const std::string number = rest.substr(0, rest.find('.'));
    if (number.empty() ||
        !std::ranges::all_of(number, [](char c) { return c >= '0' && c <= '9'; })) {
        return false;
    }
    const std::string path = "/tmp/.X11-unix/X" + number;
    return somebodyListens(std::string(1, '\0') + path) || somebodyListens(path);
}

bool waylandIsThere(const Environment& environment) {
    const std::string display = valueOf(environment, "WAYLAND_DISPLAY");
    if (display.empty()) {
        return false;
    }
    if (display.front() == '/') {
        return somebodyListens(display);
    }
    const std::string folder = valueOf(environment, "XDG_RUNTIME_DIR");
    return !folder.empty() && somebodyListens(folder + "/" + display);
}

} // namespace

std::string unusableDisplay(const Environment& environment) {
    if (valueOf(environment, "DISPLAY").empty() &&
        valueOf(environment, "WAYLAND_DISPLAY").empty()) {
        return "no usable display (DISPLAY and WAYLAND_DISPLAY are not set)";
    }
    return fmt::format("no usable display ({}, {})", describeVariable(environment, "DISPLAY"),
                       describeVariable(environment, "WAYLAND_DISPLAY"));
}

std::optional<std::string> displayTrouble(const Environment& environment) {
    if (waylandIsThere(environment) || x11IsThere(valueOf(environment, "DISPLAY"))) {
        return std::nullopt;
    }
    return unusableDisplay(environment);
}

} // namespace platform::desktop
