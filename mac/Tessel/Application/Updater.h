// Keeps the application up to date through the system's update framework: automatic checks, no
// automatic downloads, and an update that nobody asked for is held back while the owner is busy
// and offered afterwards. Make one only when isConfigured() says so. The framework outlives the
// object; without the framework in the bundle it does nothing. Main thread only.
#pragma once

#include "platform/Bundle.h"
#include "platform/UpdateFramework.h"

#include <functional>
#include <memory>

namespace tessel {

class Updater final : public platform::UpdateDelegate {
  public:
    // Whether the bundle's Info dictionary names an update feed over https ("SUFeedURL") and an
    // Ed25519 public key ("SUPublicEDKey", 32 bytes in base64). The scheme's case counts.
    [[nodiscard]] static bool isConfigured(const platform::Bundle& mainBundle);
    [[nodiscard]] static bool isConfigured(const platform::InfoDictionary& info);

    // Starts the framework's updater at once.
    Updater(platform::UpdateFramework& framework, std::function<bool()> isBusy);
    ~Updater() override;
    Updater(const Updater&) = delete;
    Updater& operator=(const Updater&) = delete;

    // The user asked; the framework shows what comes of it.
    void checkForUpdates();
    // Without a user interface unless there is an update.
    void checkNow();
    // The owner is no longer busy: an update that was held back is offered, once.
    void busyDidEnd();

    // Asked by the framework: while the owner is busy, a scheduled update is held back.
    [[nodiscard]] bool supportsGentleScheduledUpdateReminders() const override { return true; }
    [[nodiscard]] bool shouldHandleShowingScheduledUpdate(bool inImmediateFocus) override;
    void willHandleShowingUpdate(bool handledByFramework) override;

  private:
    std::unique_ptr<platform::UpdateController> controller_;
    std::function<bool()> isBusy_;
    bool deferredWhileBusy_ = false;
};

} // namespace tessel
