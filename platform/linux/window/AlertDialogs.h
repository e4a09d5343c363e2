// Modal alerts as panels (PanelWindow.h). Return answers with the first button, Escape and the
// window manager's close with the last. Main thread only.
#pragma once

#include "platform/Alerts.h"
#include "platform/linux/window/PanelWindow.h"
#include "platform/linux/window/Toplevels.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

namespace platform::gtk {

class AlertDialogs {
  public:
    explicit AlertDialogs(Toplevels& toplevels)
        : toplevels_(toplevels) {}

    // `answered` is called once, unless the alert is closed from here.
    void show(std::uint64_t id, const Alert& alert, std::function<void(std::uint32_t)> answered);
    void close(std::uint64_t id) { dialogs_.erase(id); }

  private:
    Toplevels& toplevels_;
    std::map<std::uint64_t, std::unique_ptr<PanelWindow>> dialogs_;
};

} // namespace platform::gtk
