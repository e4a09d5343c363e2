#include "mac/Tessel/AppPresence.h"

#include <utility>

namespace tessel {

AppPresence::AppPresence(std::string appName, platform::Application& application)
    : appName_(std::move(appName))
    , application_(application) {}

void AppPresence::install(bool dockIcon) {
    setDockIconVisible(dockIcon);
}

void AppPresence::setDockIconVisible(bool visible) {
    application_.setActivationPolicy(visible ? platform::ActivationPolicy::regular
                                             : platform::ActivationPolicy::accessory);
}

bool AppPresence::handleReopen(bool hasVisibleWindows) {
    if (!hasVisibleWindows && onOpenMainWindow) {
        onOpenMainWindow();
    }
    return true;
}

} // namespace tessel
