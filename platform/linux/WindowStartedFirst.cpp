#include "platform/linux/WindowStartedFirst.h"

#include <utility>

namespace {

std::optional<platform::desktop::SpawnedWindow>& startedFirst() {
    static std::optional<platform::desktop::SpawnedWindow> window;
    return window;
}

} // namespace

void zorvaneWindowWasStarted(int pid, int socket) {
    startedFirst() = {.pid = pid, .socket = platform::posix::UniqueFd(socket)};
}

std::optional<platform::desktop::SpawnedWindow> platform::desktop::takeWindowStartedFirst() {
    return std::exchange(startedFirst(), std::nullopt);
}
