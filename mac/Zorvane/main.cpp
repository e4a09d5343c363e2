#include "mac/Zorvane/AppDelegate.h"
#include "mac/Zorvane/CommandLine.h"
#include "mac/Zorvane/Installation.h"
#include "mac/Zorvane/Updates.h"
#include "platform/Environment.h"
#include "platform/NativePlatform.h"

#include <fmt/format.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

namespace {

zorvane::ServerSupervisor::Facilities supervisorFacilities(platform::NativePlatform& system) {
    return {.mainQueue = system.mainQueue(),
            .backgroundQueues = system.backgroundQueues(),
            .clock = system.clock(),
            .launcher = system.childLauncher(),
            .http = system.httpClient(),
            .ports = system.loopbackPorts(),
            .random = system.randomSource(),
            .defaults = system.userDefaults(),
            .bundle = system.bundle(),
            .commands = system.commandRunner(),
            .files = system.fileSystem(),
            .log = system.log()};
}

zorvane::AppDelegate::Facilities shellFacilities(platform::NativePlatform& system) {
    return {.application = system.application(),
            .notifications = system.notificationCenter(),
            .windows = system.webWindows(),
            .statusBar = system.statusBar(),
            .menuBar = system.menuBar(),
            .pasteboard = system.pasteboard(),
            .workspace = system.workspace(),
            .loginService = system.loginService(),
            .numbers = system.numberFormatter(),
            .supervisor = supervisorFacilities(system)};
}

zorvane::LoginFacilities loginFacilities(platform::NativePlatform& system) {
    return {.service = system.loginService(),
            .defaults = system.userDefaults(),
            .bundle = system.bundle(),
            .folders = system.applicationFolders(),
            .log = system.log()};
}

tessel::SelfInstall::Facilities moveFacilities(platform::NativePlatform& system,
                                               std::function<void()> terminate) {
    return {.application = system.application(),
            .alerts = system.alerts(),
            .bundle = system.bundle(),
            .folders = system.applicationFolders(),
            .files = system.fileSystem(),
            .trees = system.folderTree(),
            .commands = system.commandRunner(),
            .workspace = system.workspace(),
            .mainQueue = system.mainQueue(),
            .terminate = std::move(terminate)};
}

zorvane::LaunchSteps launchSteps(platform::NativePlatform& system,
                                 std::function<void()> terminate) {
    zorvane::LaunchSteps steps;
    steps.moveToApplicationsIfNeeded =
        zorvane::moveToApplicationsStep(moveFacilities(system, std::move(terminate)));
    steps.makeUpdater = zorvane::updaterStep(system.bundle(), system.updateFramework());
    steps.enrollAtLoginOnceByDefault = zorvane::enrollAtLoginStep(loginFacilities(system));
    return steps;
}

void sayWhyItCannotStart(std::string_view why) {
    fmt::print(stderr, "Zorvane cannot start: {}\n", why);
}

} // namespace

int main(int argc, char** argv) {
    if (const auto answer = zorvane::answerCommandLine(argc, argv, ZORVANE_VERSION)) {
        if (answer->checkServer) {
            return zorvane::runServerCheck(*answer->checkServer);
        }
        fmt::print("{}", answer->output);
        fmt::print(stderr, "{}", answer->error);
        return answer->exitStatus;
    }
    const auto system = platform::makeNativePlatform({.applicationId = "app.zorvane",
                                                      .guardianExecutable = "zorvane-guardian",
                                                      .windowExecutable = "zorvane-window",
                                                      .sayWhyItEnds = &sayWhyItCannotStart});
    if (!system) {
        sayWhyItCannotStart(system.error());
        return 1;
    }
    platform::NativePlatform& native = **system;
    const platform::Environment environment = platform::currentEnvironment();
    std::shared_ptr<zorvane::AppDelegate> delegate;
    delegate =
        zorvane::AppDelegate::create(shellFacilities(native), environment,
                                     launchSteps(native, [&delegate] { delegate->quitApp(); }));
    return native.application().run(*delegate);
}
