// The framework that finds, offers and installs updates of the application with a user interface
// of its own. Modelled on Sparkle 2's standard updater controller and its delegates; on systems
// without Sparkle a driver with the same feed and the same signatures stands behind it. Before the
// framework relaunches the application it posts "SPUUpdaterWillRelaunchApplicationNotification".
// Main thread only.
#pragma once

#include <memory>

namespace platform {

// Asked by the framework; outlives the controller.
class UpdateDelegate {
  public:
    virtual ~UpdateDelegate() = default;

    // Whether an update that nobody asked for need not be shown at once but may be announced only.
    [[nodiscard]] virtual bool supportsGentleScheduledUpdateReminders() const = 0;
    // Before an update that nobody asked for is shown. False: the framework does not show it now.
    [[nodiscard]] virtual bool shouldHandleShowingScheduledUpdate(bool inImmediateFocus) = 0;
    // After that question, and with true before each update the user asked for.
    virtual void willHandleShowingUpdate(bool handledByFramework) = 0;
};

// The updater of this application.
class UpdateController {
  public:
    virtual ~UpdateController() = default;

    // The user asked: progress, "up to date" and errors are shown.
    virtual void checkForUpdates() = 0;
    // Nothing is shown unless there is an update.
    virtual void checkForUpdatesInBackground() = 0;
    // Whether it looks, and whether it downloads, without being asked.
    virtual void setAutomaticallyChecksForUpdates(bool automatically) = 0;
    virtual void setAutomaticallyDownloadsUpdates(bool automatically) = 0;
};

class UpdateFramework {
  public:
    virtual ~UpdateFramework() = default;

    // A controller whose updater has been started. Nothing when the framework is not part of the
    // bundle; the reason is logged.
    [[nodiscard]] virtual std::unique_ptr<UpdateController>
    makeStandardController(UpdateDelegate& delegate) = 0;
};

} // namespace platform
