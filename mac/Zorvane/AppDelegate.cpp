#include "mac/Zorvane/AppDelegate.h"

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
    , library_(std::make_shared<LibrarySummaryCache>(
          LibrarySummaryCache::Facilities{.mainQueue = facilities.supervisor.mainQueue,
                                          .backgroundQueues =
                                              facilities.supervisor.backgroundQueues,
                                          .clock = facilities.supervisor.clock,
                                          .http = facilities.supervisor.http},
          [supervisor = supervisor_] { return serverUrl(supervisor->state()); }))
    , mainWindow_(facilities.windows, facilities.application, facilities.workspace,
                  facilities.supervisor.clock, facilities.supervisor.log) {}

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
    library_->onAnswer = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->showStatus();
        }
    };
    supervisor_->onStateChange = [weak = weak_from_this()](const ServerSupervisor::State& state) {
        if (const auto self = weak.lock()) {
            self->serverStateChanged(state);
        }
    };
    if (facilities_.application.takeOver()) {
        supervisor_->start();
        mainWindow_.show();
    }
}

void AppDelegate::installPresence() {
    presence_ = std::make_unique<tessel::AppPresence>(
        std::string(appName),
        tessel::AppPresence::Facilities{.application = facilities_.application,
                                        .statusBar = facilities_.statusBar,
                                        .menuBar = facilities_.menuBar});
    presence_->onOpenMainWindow = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->mainWindow_.show();
        }
    };
    presence_->buildStatusMenu = [weak = weak_from_this()](platform::Menu& menu) {
        if (const auto self = weak.lock()) {
            self->populateStatusMenu(menu);
        }
    };
    presence_->install(tessel::AppPresence::SymbolGlyph{.name = "antenna.radiowaves.left.and.right",
                                                        .fallback = "📻"},
                       /*dockIcon=*/true, /*appMenuExtras=*/{});
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

} // namespace zorvane
