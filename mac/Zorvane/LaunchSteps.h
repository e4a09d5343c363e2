// The steps of a launch that belong to services beyond the server and its window. main() fills in
// those that the build has; the delegate calls each at its place in the launch order, on the main
// thread, and skips the ones that are not there.
#pragma once

#include "platform/Environment.h"

#include <functional>
#include <memory>
#include <string_view>

namespace zorvane {

// Looks for updates while it exists.
class UpdateChecker {
  public:
    virtual ~UpdateChecker() = default;
    // The user asked.
    virtual void checkForUpdates() = 0;
};

struct LaunchSteps {
    // Offers to move the application into an Applications folder. True: the application is being
    // moved and relaunched, and nothing else of the launch may happen.
    std::function<bool(std::string_view appName, std::string_view devSkipEnvironmentKey,
                       const platform::Environment& environment)>
        moveToApplicationsIfNeeded = {};

    // Makes the updater; nothing when the bundle is not configured for updates. It asks isBusy
    // before it shows an update that nobody asked for.
    std::function<std::unique_ptr<UpdateChecker>(std::function<bool()> isBusy)> makeUpdater = {};

    // Registers the application at login, once.
    std::function<void(std::string_view appliedDefaultsKey)> enrollAtLoginOnceByDefault = {};
};

} // namespace zorvane
