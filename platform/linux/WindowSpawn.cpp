#include "platform/linux/WindowSpawn.h"

#include "platform/posix/Reaping.h"
#include "platform/posix/Spawn.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform::desktop {
namespace {

using posix::UniqueFd;

// None of 0, 1 and 2, as spawn() wants it, even when this process has those closed.
UniqueFd duplicate(int descriptor) {
    return UniqueFd(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
}

} // namespace

std::expected<SpawnedWindow, LaunchError> spawnWindow(const std::filesystem::path& executable,
                                                      const std::vector<std::string>& arguments,
                                                      const Environment& environment) {
    const auto failure = [&](int error) {
        return std::unexpected(LaunchError{"cannot start " + executable.native(), error});
    };
    const auto image = posix::ExecImage::make(executable, arguments, environment);
    if (!image) {
        return failure(image.error());
    }
    int ends[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        return failure(errno);
    }
    UniqueFd ours(ends[0]);
    const UniqueFd first(ends[1]);
    const UniqueFd theirs = duplicate(first.get());
    const UniqueFd errorOutput = duplicate(STDERR_FILENO);
    auto spawned =
        posix::spawn({.image = &*image, .input = theirs.get(), .errorOutput = errorOutput.get()});
    if (!spawned) {
        return failure(spawned.error());
    }
    if (const auto error = spawned->awaitExec()) {
        posix::killAndReap(spawned->pid);
        return failure(*error);
    }
    return SpawnedWindow{.pid = spawned->pid, .socket = std::move(ours)};
}

} // namespace platform::desktop
