// ChildLauncher for both systems. Children are served by one internal thread, which is started by
// the first launch. Destroying the launcher kills the groups of the children that still run, lets
// their callbacks happen and ends the thread; handles may outlive it. Destroy it on another
// thread than the internal one. launch() may be called on any thread, but see ChildLauncher.
#pragma once

#include "platform/ChildProcess.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

namespace platform {

namespace posix {
class ChildSessions;
}

class PosixChildLauncher final : public ChildLauncher {
  public:
    // `guardian` is the guardian's executable. `onTrouble` receives one sentence when a guardian
    // was killed; it is called on the internal thread.
    explicit PosixChildLauncher(std::filesystem::path guardian,
                                std::function<void(std::string_view)> onTrouble = {});
    ~PosixChildLauncher() override;
    PosixChildLauncher(const PosixChildLauncher&) = delete;
    PosixChildLauncher& operator=(const PosixChildLauncher&) = delete;

    [[nodiscard]] std::expected<std::shared_ptr<ChildProcess>, LaunchError>
    launch(ChildOptions options) override;

  private:
    const std::filesystem::path guardianExecutable;
    const std::unique_ptr<posix::ChildSessions> sessions;
};

} // namespace platform
