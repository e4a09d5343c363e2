// Modal alerts shown by the window program. The blocked caller's main context keeps running, so
// timers, the main queue and a tray go on. An alert is also answered with its last button when the
// application was told to end (the caller finishes what it was about, and then the application
// ends), and when the window program dies. Main thread only.
#pragma once

#include "platform/Alerts.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/linux/WindowHost.h"

namespace platform::desktop {

class RemoteAlerts final : public Alerts, private WindowClient {
  public:
    // Both outlive this object.
    RemoteAlerts(WindowHost& host, LinuxApplication& application);

    [[nodiscard]] std::size_t runModal(const Alert& alert) override;

  private:
    struct Question;

    void sayAgain() override;
    void gaveUp() override;
    [[nodiscard]] bool isOnScreen() const override { return waiting_ != nullptr; }

    WindowHost& host_;
    LinuxApplication& application_;
    Question* waiting_ = nullptr; // the innermost one that has yet to be shown or answered
};

} // namespace platform::desktop
