// A window program that was just started: a process in a group of its own, joined to this one by a
// socket pair whose other end is its standard input. It is told to end when the thread that started
// it ends; its standard error is ours. Whoever has it ends and reaps it (WindowProcess.h). No
// toolkit, no GLib: the executable does this before the application is loaded (start/main.cpp).
#pragma once

#include "platform/ChildProcess.h"
#include "platform/posix/UniqueFd.h"

#include <sys/types.h>

#include <expected>
#include <filesystem>
#include <string>
#include <vector>

namespace platform::desktop {

struct SpawnedWindow {
    pid_t pid = -1;
    posix::UniqueFd socket;
};

[[nodiscard]] std::expected<SpawnedWindow, LaunchError>
spawnWindow(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
            const Environment& environment);

} // namespace platform::desktop
