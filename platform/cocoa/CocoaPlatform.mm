#include "platform/cocoa/CocoaPlatform.h"

#include "platform/cocoa/SupportFolder.h"
#include "platform/cocoa/Text.h"
#include "platform/posix/ProcessEntry.h"

#include <stdexcept>
#include <system_error>
#include <utility>

namespace platform {
namespace cocoa {
namespace {

id<NSObject> beginWorkingWithoutWindows() {
    return [NSProcessInfo.processInfo
        beginActivityWithOptions:NSActivityUserInitiatedAllowingIdleSystemSleep
                          reason:@"watching over child processes"];
}

ApplicationFolders findApplicationFolders() {
    const std::filesystem::path home = fromFoundation(NSHomeDirectory()).value_or("/");
    return {.system = "/Applications", .user = home / "Applications"};
}

} // namespace

CocoaPlatform::CocoaPlatform(const NativeOptions& options, const Environment& environment,
                             const std::filesystem::path& supportFolder)
    : activity_(beginWorkingWithoutWindows()), log_(options.applicationId, "application"),
      notificationCenter_(mainQueue_), fileSystem_(supportFolder),
      applicationFolders_(findApplicationFolders()),
      userDefaults_(NSUserDefaults.standardUserDefaults), bundle_(mainBundleWithoutLinks()),
      commandRunner_(environment),
      childLauncher_(bundle_.executablePath().parent_path() / options.guardianExecutable,
                     [this](std::string_view trouble) { log_.write(trouble); }),
      application_(supportFolder / options.applicationId, log_) {}

CocoaPlatform::~CocoaPlatform() { [NSProcessInfo.processInfo endActivity:activity_]; }

} // namespace cocoa

std::expected<std::unique_ptr<NativePlatform>, std::string>
makeNativePlatform(const NativeOptions& options) {
    @autoreleasepool {
        posix::putInheritanceRight();
        try {
            posix::requireThreads();
        } catch (const std::runtime_error& error) {
            return std::unexpected(error.what());
        }
        auto folder = cocoa::supportFolder();
        if (!folder) {
            return std::unexpected(std::move(folder.error()));
        }
        try {
            return std::make_unique<cocoa::CocoaPlatform>(options, currentEnvironment(), *folder);
        } catch (const std::system_error&) {
            return std::unexpected(posix::noMoreThreads); // somebody else took them meanwhile
        }
    }
}

} // namespace platform
