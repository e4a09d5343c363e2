// One run of the window program (WindowSpawn.h), watched. It ends with this process, and with this
// object: the group is killed. Main thread only.
#pragma once

#include "platform/ChildProcess.h"
#include "platform/posix/UniqueFd.h"

#include <glib.h>

#include <chrono>
#include <expected>
#include <functional>
#include <memory>

namespace platform::desktop {

class WindowProcess {
  public:
    // Takes over what spawnWindow() started. `onExit` is called once, later, when the process has
    // exited by itself.
    [[nodiscard]] static std::expected<std::unique_ptr<WindowProcess>, LaunchError>
    watch(pid_t pid, std::function<void()> onExit);
    ~WindowProcess();
    WindowProcess(const WindowProcess&) = delete;
    WindowProcess& operator=(const WindowProcess&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }
    // Blocks until it has exited, at most that long; `meanwhile` is called now and then.
    [[nodiscard]] bool waitForExit(std::chrono::milliseconds patience,
                                   const std::function<void()>& meanwhile);

  private:
    WindowProcess(pid_t pid, posix::UniqueFd exitWatch, std::function<void()> onExit);
    static gboolean onReadable(gint descriptor, GIOCondition condition, gpointer self);

    pid_t pid_;
    posix::UniqueFd exitWatch_;
    std::function<void()> onExit_;
    guint source_ = 0;
};

} // namespace platform::desktop
