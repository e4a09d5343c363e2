// How a menu-bar application is present on the desktop: its activation policy, which decides
// whether it has a Dock icon, and what happens when the user opens it again while it is running.
// Owned by the application delegate; main thread only. The application object outlives it.
#pragma once

#include "platform/Application.h"

#include <functional>
#include <string>

namespace tessel {

class AppPresence {
  public:
    AppPresence(std::string appName, platform::Application& application);

    [[nodiscard]] const std::string& appName() const { return appName_; }

    // Called when the user opens the application again and no window is visible.
    std::function<void()> onOpenMainWindow;

    // Makes the application present: with a Dock icon, or from the status area only.
    void install(bool dockIcon);
    void setDockIconVisible(bool visible);
    // Answers the system's reopen question; always true: the request was dealt with.
    bool handleReopen(bool hasVisibleWindows);

  private:
    std::string appName_;
    platform::Application& application_;
};

} // namespace tessel
