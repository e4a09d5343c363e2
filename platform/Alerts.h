// Modal alerts, modelled on NSAlert: a message, a smaller explanation below it, and buttons of
// which the first is the default one. Main thread only.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace platform {

// What an alert shows; plain UTF-8 text.
struct Alert {
    std::string message;              // the question or what happened, in one line
    std::string informativeText = {}; // the smaller explanation; empty: none
    // In order; none: the system's own single confirming button.
    std::vector<std::string> buttons = {};
};

class Alerts {
  public:
    virtual ~Alerts() = default;

    // Shows the alert in front of everything else of this application and blocks until it is
    // answered; main-queue tasks go on running meanwhile, unless the caller is itself one of
    // them, since those run one after the other. Returns the index of the button;
    // dismissing the alert in any other way counts as the last button.
    [[nodiscard]] virtual std::size_t runModal(const Alert& alert) = 0;
};

} // namespace platform
