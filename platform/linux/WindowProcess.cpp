#include "platform/linux/WindowProcess.h"

#include "platform/posix/Reaping.h"

#include <glib-unix.h>
#include <poll.h>

#include <utility>

namespace platform::desktop {

std::expected<std::unique_ptr<WindowProcess>, LaunchError>
WindowProcess::watch(pid_t pid, std::function<void()> onExit) {
    auto exitWatch = posix::watchChild(pid);
    if (!exitWatch) {
        posix::killAndReap(pid);
        return std::unexpected(LaunchError{"cannot watch the window program", exitWatch.error()});
    }
    return std::unique_ptr<WindowProcess>(
        new WindowProcess(pid, std::move(*exitWatch), std::move(onExit)));
}

WindowProcess::WindowProcess(pid_t pid, posix::UniqueFd exitWatch, std::function<void()> onExit)
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
