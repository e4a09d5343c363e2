// Update notices as notifications of the desktop: org.freedesktop.Notifications on the session bus
// (freedesktop.org, version 1.2). Nothing waits for the bus or for who shows them; where
// nobody does, that is one line in the log. A notice that the user opens brings the desktop's
// activation token along where there is one. Main thread only, on GLib's default main context.
#pragma once

#include "platform/Log.h"
#include "platform/appcast/UpdateNotice.h"

#include <functional>
#include <memory>
#include <string>

namespace platform::desktop {

class DesktopNotifications final : public appcast::UpdateNotice {
  public:
    // `applicationId` names the desktop entry and the icon. `opening` is told the token, or an
    // empty one, just before what was shown is opened.
    DesktopNotifications(std::string applicationName, std::string applicationId,
                         std::function<void(const std::string& token)> opening, Log& log);
    ~DesktopNotifications() override;
    DesktopNotifications(const DesktopNotifications&) = delete;
    DesktopNotifications& operator=(const DesktopNotifications&) = delete;

    void show(const appcast::UpdateNotification& notification,
              std::function<void()> opened) override;
    void withdraw() override;

  private:
    struct Shown;

    std::string applicationName_;
    std::string applicationId_;
    std::function<void(const std::string&)> opening_;
    Log& log_;
    std::shared_ptr<Shown> shown_;
};

} // namespace platform::desktop
