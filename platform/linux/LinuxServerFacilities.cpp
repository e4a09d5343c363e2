#include "platform/ServerFacilities.h"
#include "platform/linux/FolderBundle.h"
#include "platform/posix/PosixChildLauncher.h"
#include "platform/posix/PosixCommandRunner.h"
#include "platform/posix/PosixLoopbackPorts.h"
#include "platform/posix/StderrLog.h"

#include <utility>

namespace platform {
namespace {

class LinuxServerFacilities final : public ServerFacilities {
  public:
    LinuxServerFacilities(const Environment& environment, const std::string& guardianExecutable,
                          std::function<void(std::string_view)> onTrouble)
        : log_(environment)
        , bundle_(runningExecutable(), log_)
        , commandRunner_(environment)
        , childLauncher_(bundle_.executablePath().parent_path() / guardianExecutable,
                         std::move(onTrouble)) {}

    ChildLauncher& childLauncher() override { return childLauncher_; }
    CommandRunner& commandRunner() override { return commandRunner_; }
    LoopbackPorts& loopbackPorts() override { return loopbackPorts_; }
    Bundle& bundle() override { return bundle_; }

  private:
    StderrLog log_;
    FolderBundle bundle_;
    PosixLoopbackPorts loopbackPorts_;
    PosixCommandRunner commandRunner_;
    PosixChildLauncher childLauncher_;
};

} // namespace

std::unique_ptr<ServerFacilities>
makeServerFacilities(const Environment& environment, const std::string& guardianExecutable,
                     std::function<void(std::string_view)> onTrouble) {
    return std::make_unique<LinuxServerFacilities>(environment, guardianExecutable,
                                                   std::move(onTrouble));
}

} // namespace platform
