// Children that exist in a script only. Each launch is recorded with its options and answered with
// a child that does what `behaviour` says when it is signalled; a test ends one with exit(). What
// happens to a child is written to `events` in order. For tests; one thread only.
#pragma once

#include "platform/ChildProcess.h"
#include "platform/testing/ManualScheduler.h"

#include <chrono>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform::testing {

class FakeChildLauncher final : public ChildLauncher {
  public:
    class Child final : public ChildProcess, public std::enable_shared_from_this<Child> {
      public:
        Child(FakeChildLauncher& owner, int pid, ChildOptions options);
        ~Child() override;

        [[nodiscard]] int pid() const override { return pid_; }
        [[nodiscard]] bool isRunning() const override { return running_; }
        void terminate() override;
        void kill() override;
        bool waitForExit(std::chrono::milliseconds timeout) override;

        // The child exits now.
        void exit(ExitStatus status);
        void print(std::string_view bytes) { options_.onOutput(bytes); }
        [[nodiscard]] const ChildOptions& options() const { return options_; }

      private:
        void recordKill();
        void exitAfter(std::chrono::milliseconds delay, int signal);

        FakeChildLauncher& owner_;
        int pid_;
        ChildOptions options_;
        bool running_ = true;
        bool killed_ = false;
        std::optional<SteadyTime> endsAt_; // of a child that was signalled
    };

    // How children answer SIGTERM: after that time, or never.
    std::optional<std::chrono::milliseconds> exitsAfterTerminate = std::chrono::milliseconds{0};
    // Nobody is gone at the moment of a kill.
    std::chrono::milliseconds exitsAfterKill{0};
    std::optional<LaunchError> failure; // of the next launches
    std::function<void()> onLaunch;     // looks at the world at the moment of a launch

    explicit FakeChildLauncher(ManualScheduler& scheduler)
        : scheduler_(scheduler) {}

    [[nodiscard]] std::expected<std::shared_ptr<ChildProcess>, LaunchError>
    launch(ChildOptions options) override;

    [[nodiscard]] std::size_t launches() const { return launched_; }
    // The newest child; nothing when it was destroyed or there is none.
    [[nodiscard]] std::shared_ptr<Child> last() const { return lastChild_.lock(); }
    [[nodiscard]] int running() const { return running_; }
    std::vector<std::string> events; // "launch 1", "terminate 1", "exit 1", "kill 1"

  private:
    friend class Child;
    ManualScheduler& scheduler_;
    std::size_t launched_ = 0;
    int running_ = 0;
    std::weak_ptr<Child> lastChild_;
};

} // namespace platform::testing
