#include "mac/Zorvane/AppDelegate.h"

#include "mac/OstraCore/ServerUrl.h"
#include "mac/Zorvane/QuitReason.h"

#include <utility>

namespace zorvane {

std::shared_ptr<AppDelegate> AppDelegate::create(const Facilities& facilities,
                                                 platform::Environment environment,
                                                 LaunchSteps steps) {
    return std::shared_ptr<AppDelegate>(
        new AppDelegate(facilities, std::move(environment), std::move(steps)));
}

AppDelegate::AppDelegate(const Facilities& facilities, platform::Environment environment,
                         LaunchSteps steps)
    : facilities_(facilities)
    , environment_(std::move(environment))
    , steps_(std::move(steps))
    , supervisor_(ServerSupervisor::create(facilities.supervisor, environment_))
    , mainWindow_(facilities.windows, facilities.application, facilities.clock) {}

void AppDelegate::applicationDidFinishLaunching() {
    if (steps_.moveToApplicationsIfNeeded &&
        steps_.moveToApplicationsIfNeeded(appName, devSkipMoveKey, environment_)) {
        return;
    }
    if (steps_.makeUpdater) {
        updater_ = steps_.makeUpdater([] { return false; });
    }
    if (steps_.enrollAtLoginOnceByDefault) {
        steps_.enrollAtLoginOnceByDefault(loginItemAppliedKey);
    }
    installPresence();
    observeUpdaterRelaunch();
    supervisor_->onStateChange = [weak = weak_from_this()](const ServerSupervisor::State& state) {
        if (const auto self = weak.lock()) {
            self->serverStateChanged(state);
        }
    };
    supervisor_->start();
    mainWindow_.show();
}

void AppDelegate::installPresence() {
    presence_ =
        std::make_unique<tessel::AppPresence>(std::string(appName), facilities_.application);
    presence_->onOpenMainWindow = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->mainWindow_.show();
        }
    };
    presence_->install(/*dockIcon=*/true);
    mainWindow_.onVisibilityChange = [weak = weak_from_this()](bool visible) {
        if (const auto self = weak.lock()) {
            self->presence_->setDockIconVisible(visible);
        }
    };
}

// An updater's relaunch must not be turned into a hide.
void AppDelegate::observeUpdaterRelaunch() {
    for (const char* name :
         {"SUUpdaterWillRestartNotification", "SPUUpdaterWillRelaunchApplicationNotification"}) {
        facilities_.notifications.observe(name, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->allowFullQuit_ = true;
            }
        });
    }
}

void AppDelegate::serverStateChanged(const ServerSupervisor::State& state) {
    const auto* running = std::get_if<ServerSupervisor::Running>(&state);
    if (running == nullptr) {
        return;
    }
    mainWindow_.currentURL = ostra::serverUrl(running->port);
    if (mainWindow_.hasWindow()) {
        mainWindow_.load(*mainWindow_.currentURL);
    }
}

platform::TerminateReply AppDelegate::applicationShouldTerminate() {
    if (allowFullQuit_ || quitReasonIsSystem(facilities_.application.currentEvent())) {
        return platform::TerminateReply::now;
    }
    mainWindow_.orderOut();
    if (mainWindow_.onVisibilityChange) {
        mainWindow_.onVisibilityChange(false);
    }
    return platform::TerminateReply::cancel;
}

void AppDelegate::applicationWillTerminate() {
    supervisor_->stopSync();
}

bool AppDelegate::applicationShouldHandleReopen(bool hasVisibleWindows) {
    if (presence_) {
        return presence_->handleReopen(hasVisibleWindows);
    }
    return true;
}

void AppDelegate::quitApp() {
    allowFullQuit_ = true;
    facilities_.application.terminate();
}

} // namespace zorvane
