#include "mac/Zorvane/Installation.h"

#include "mac/Tessel/Application/LoginItem.h"

#include <string>

namespace zorvane {

decltype(LaunchSteps::moveToApplicationsIfNeeded)
moveToApplicationsStep(const tessel::SelfInstall::Facilities& facilities) {
    return [facilities](std::string_view appName, std::string_view devSkipEnvironmentKey,
                        const platform::Environment& environment) {
        return tessel::SelfInstall::moveToApplicationsIfNeeded(
            facilities, {.appName = std::string(appName),
                         .devSkipEnvironmentKey = std::string(devSkipEnvironmentKey),
                         .environment = environment});
    };
}

decltype(LaunchSteps::enrollAtLoginOnceByDefault)
enrollAtLoginStep(const LoginFacilities& facilities) {
    return [facilities](std::string_view appliedDefaultsKey) {
        const auto bundle = facilities.bundle.bundlePath();
        const bool isInstalled =
            bundle && tessel::SelfInstall::isInstalled(*bundle, facilities.folders);
        tessel::LoginItem::enrollOnceByDefault(facilities.service, facilities.defaults,
                                               appliedDefaultsKey, isInstalled, facilities.log);
    };
}

} // namespace zorvane
