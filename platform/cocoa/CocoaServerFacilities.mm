#include "platform/ServerFacilities.h"
#include "platform/cocoa/CocoaBundle.h"
#include "platform/posix/PosixChildLauncher.h"
#include "platform/posix/PosixCommandRunner.h"
#include "platform/posix/PosixLoopbackPorts.h"

#import <Foundation/Foundation.h>

#include <utility>

namespace platform {
namespace cocoa {
namespace {

class CocoaServerFacilities final : public ServerFacilities {
  public:
    CocoaServerFacilities(const Environment& environment, const std::string& guardianExecutable,
                          std::function<void(std::string_view)> onTrouble)
        : bundle_(NSBundle.mainBundle), commandRunner_(environment),
          childLauncher_(bundle_.executablePath().parent_path() / guardianExecutable,
                         std::move(onTrouble)) {}

    ChildLauncher& childLauncher() override { return childLauncher_; }
    CommandRunner& commandRunner() override { return commandRunner_; }
    LoopbackPorts& loopbackPorts() override { return loopbackPorts_; }
    Bundle& bundle() override { return bundle_; }

  private:
    CocoaBundle bundle_;
    PosixLoopbackPorts loopbackPorts_;
    PosixCommandRunner commandRunner_;
    PosixChildLauncher childLauncher_;
};

} // namespace
} // namespace cocoa

std::unique_ptr<ServerFacilities>
makeServerFacilities(const Environment& environment, const std::string& guardianExecutable,
                     std::function<void(std::string_view)> onTrouble) {
    @autoreleasepool {
        return std::make_unique<cocoa::CocoaServerFacilities>(environment, guardianExecutable,
                                                              std::move(onTrouble));
    }
}

} // namespace platform
