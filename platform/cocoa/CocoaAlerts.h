// Modal alerts as NSAlert. Return answers with the first button, Escape with the last one, an
// alert that the system aborts counts as answered with the last. Main thread only.
#pragma once

#include "platform/Alerts.h"
#include "platform/cocoa/RequireArc.h"

namespace platform::cocoa {

class CocoaAlerts final : public Alerts {
  public:
    [[nodiscard]] std::size_t runModal(const Alert& alert) override;
};

} // namespace platform::cocoa
