// Modal alerts as GTK dialogs. The blocked caller's main context keeps running, so timers, the
// main queue and a tray go on. Return answers with the first button, Escape and the dialog's
// close with the last. An alert is also answered with its last button when the application was
// told to end: the caller finishes what it was about, and then the application ends.
#pragma once

#include "platform/Alerts.h"
#include "platform/linux/GtkApplication.h"

namespace platform::gtk {

class GtkAlerts final : public Alerts {
  public:
    // `application` outlives this object.
    explicit GtkAlerts(GtkApplication& application)
        : application_(application) {}

    [[nodiscard]] std::size_t runModal(const Alert& alert) override;

  private:
    GtkApplication& application_;
};

} // namespace platform::gtk
