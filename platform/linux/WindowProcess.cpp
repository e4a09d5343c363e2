#include "platform/linux/WindowProcess.h"

#include "platform/posix/Reaping.h"
#include "platform/posix/Spawn.h"

#include <fcntl.h>
#include <glib-unix.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

namespace platform::desktop {
namespace {

using posix::UniqueFd;

// None of 0, 1 and 2, as spawn() wants it, even when this process has those closed.
UniqueFd duplicate(int descriptor) {
    return UniqueFd(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
}

} // namespace

std::expected<WindowProcess::Started, LaunchError>
WindowProcess::start(const std::filesystem::path& executable,
                     const std::vector<std::string>& arguments, const Environment& environment,
                     std::function<void()> onExit) {
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
    auto exitWatch = posix::watchChild(spawned->pid);
    const auto error = spawned->awaitExec();
    if (error || !exitWatch) {
        posix::killAndReap(spawned->pid);
        return failure(error.value_or(exitWatch ? 0 : exitWatch.error()));
    }
    return Started{.process = std::unique_ptr<WindowProcess>(
                       new WindowProcess(spawned->pid, std::move(*exitWatch), std::move(onExit))),
                   .socket = std::move(ours)};
}

WindowProcess::WindowProcess(pid_t pid, UniqueFd exitWatch, std::function<void()> onExit)
    : pid_(pid)
    , exitWatch_(std::move(exitWatch))
    , onExit_(std::move(onExit))
    , source_(g_unix_fd_add(exitWatch_.get(), G_IO_IN, onReadable, this)) {}

WindowProcess::~WindowProcess() {
    if (source_ != 0) {
        g_source_remove(source_);
    }
    posix::killAndReap(pid_);
}

gboolean WindowProcess::onReadable(gint /*descriptor*/, GIOCondition /*condition*/, gpointer data) {
    auto* const self = static_cast<WindowProcess*>(data);
    self->source_ = 0;
    const auto exited = std::move(self->onExit_); // which may destroy this object
    exited();
    return G_SOURCE_REMOVE;
}

bool WindowProcess::waitForExit(std::chrono::milliseconds patience,
                                const std::function<void()>& meanwhile) {
    constexpr std::chrono::milliseconds step{10};
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        meanwhile();
        pollfd entry{.fd = exitWatch_.get(), .events = POLLIN, .revents = 0};
        if (::poll(&entry, 1, static_cast<int>(step.count())) > 0) {
            meanwhile();
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
    }
}

} // namespace platform::desktop
