// The handle of a started child, and what it shares with the thread that serves the child. The
// exit watch stays open as long as anybody holds the child, so that asking whether it runs and
// waiting for its end need neither a lock nor the serving thread. A signal is sent only while the
// child is known to be unreaped: its id cannot belong to anybody else then.
#pragma once

#include "platform/ChildProcess.h"
#include "platform/posix/UniqueFd.h"

#include <sys/types.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace platform::posix {

// The child's process as everybody may see it. Any thread.
class ChildState {
  public:
    ChildState(pid_t child, UniqueFd watch)
        : processId(child)
        , exitWatch(std::move(watch)) {}

    [[nodiscard]] pid_t pid() const { return processId; }
    [[nodiscard]] int exitDescriptor() const { return exitWatch.get(); }
    [[nodiscard]] bool waitForExit(std::chrono::milliseconds timeout) const;
    [[nodiscard]] bool hasExited() const { return waitForExit(std::chrono::milliseconds(0)); }

    void terminate();
    void killGroup();
    [[nodiscard]] bool wasKilled() const { return killed; }

    // For the serving thread, after the exit was seen: kills what is left of the group without
    // reaping the child; then reaps it and tells how it ended.
    void endGroup();
    [[nodiscard]] ExitStatus reapChild();

  private:
    const pid_t processId;
    const UniqueFd exitWatch;
    std::atomic<bool> killed = false;
    std::mutex mutex;
    bool reaped = false;
};

// The callbacks of one child. They are called on the serving thread only.
class ChildCallbacks {
  public:
    ChildCallbacks(std::function<void(std::string_view)> output,
                   std::function<void(ExitStatus)> exit, std::thread::id servingThread)
        : onOutput(std::move(output))
        , onExit(std::move(exit))
        , caller(servingThread) {}

    void output(std::string_view bytes);
    void exit(ExitStatus status);

    // After this no callback starts.
    void silence() { silenced = true; }
    // After this none is under way either, unless it is the one that makes this call. Lets go of
    // what they captured.
    void finish();

  private:
    std::mutex mutex;
    std::atomic<bool> silenced = false;
    std::function<void(std::string_view)> onOutput;
    std::function<void(ExitStatus)> onExit;
    const std::thread::id caller;
};

class PosixChildProcess final : public ChildProcess {
  public:
    PosixChildProcess(std::shared_ptr<ChildState> sharedState,
                      std::shared_ptr<ChildCallbacks> sharedCallbacks)
        : state(std::move(sharedState))
        , callbacks(std::move(sharedCallbacks)) {}
    ~PosixChildProcess() override;
    PosixChildProcess(const PosixChildProcess&) = delete;
    PosixChildProcess& operator=(const PosixChildProcess&) = delete;

    [[nodiscard]] int pid() const override { return state->pid(); }
    [[nodiscard]] bool isRunning() const override { return !state->hasExited(); }
    void terminate() override { state->terminate(); }
    void kill() override { state->killGroup(); }
    bool waitForExit(std::chrono::milliseconds timeout) override {
        return state->waitForExit(timeout);
    }

  private:
    const std::shared_ptr<ChildState> state;
    const std::shared_ptr<ChildCallbacks> callbacks;
};

} // namespace platform::posix
