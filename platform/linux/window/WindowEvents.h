// What a window of this program has to tell, and to ask. All are set for as long as the window
// lives; they are called on the main thread and do not destroy the window.
#pragma once

#include "platform/WebWindow.h"

#include <functional>
#include <string>

namespace platform::gtk {

struct WindowEvents {
    std::function<void()> closed; // by the user; hidden
    std::function<void(int width, int height, bool maximized)> resized;
    // The answer may come at any time later, and more than once; the first counts.
    std::function<void(const NavigationAction& action, std::function<void(bool)> answer)>
        decideNavigation;
    std::function<void(const NavigationAction& action)> newWindowRequested;
    std::function<void(const std::string& url)> pageChanged;
    std::function<void(const std::string& title)> pageFinished;
    std::function<void()> pageDied;
    std::function<void(const std::string& name, const std::string& body)> scriptMessage;
    std::function<void()> engineStarting;
    std::function<void()> engineStarted;
};

// What of it the application wants.
struct WindowInterests {
    bool decides = false;
    bool finishes = false;
};

} // namespace platform::gtk
