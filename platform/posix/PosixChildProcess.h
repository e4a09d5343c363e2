// The handle of a started child, and what it shares with the thread that serves the child. The
// exit watch stays open as long as anybody holds the child, so that asking whether it runs and
// waiting for its end need neither a lock nor the serving thread. The child is signalled by its
// guardian, whose child it is: no signal can reach a process that took over an old number.
#pragma once

#include "platform/ChildProcess.h"
#include "platform/posix/Guardian.h"

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
    explicit ChildState(GuardedChild child)
        : guarded(std::move(child)) {}

    [[nodiscard]] pid_t pid() const { return guarded.pid; }
    [[nodiscard]] bool waitForExit(std::chrono::milliseconds timeout) const;
    [[nodiscard]] bool hasExited() const { return waitForExit(std::chrono::milliseconds(0)); }

    void terminate() { command(GuardianCommand::terminate); }
    void killGroup() { command(GuardianCommand::kill); }

    // For the serving thread.
    [[nodiscard]] int exitWatch() const { return guarded.exitWatch.get(); }
    [[nodiscard]] const Guardian& guardian() const { return guarded.guardian; }
    // Lets go of the guardian, which has ended or is about to. Nothing is signalled afterwards.
    void reapGuardian();

  private:
    void command(GuardianCommand command);

    const GuardedChild guarded;
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
