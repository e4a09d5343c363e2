// Modal alerts as GTK dialogs. Return answers with the first button, Escape and the dialog's close
// with the last. Main thread only.
#pragma once

#include "platform/Alerts.h"
#include "platform/linux/window/Toplevels.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

namespace platform::gtk {

class AlertDialogs {
  public:
    explicit AlertDialogs(Toplevels& toplevels);
    ~AlertDialogs();
    AlertDialogs(const AlertDialogs&) = delete;
    AlertDialogs& operator=(const AlertDialogs&) = delete;

    // `answered` is called once, unless the alert is closed from here.
    void show(std::uint64_t id, const Alert& alert, std::function<void(std::uint32_t)> answered);
    void close(std::uint64_t id);

  private:
    class Dialog;

    Toplevels& toplevels_;
    std::map<std::uint64_t, std::unique_ptr<Dialog>> dialogs_;
};

} // namespace platform::gtk
