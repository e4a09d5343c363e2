// The service that starts this application when its user logs in. Modelled on SMAppService's
// mainApp; on XDG desktops it is the user's autostart entry. The user can switch the application
// off in the desktop's own settings: that is `requiresApproval`, and nothing but the user's own
// wish takes it back. Main thread only.
#pragma once

#include <expected>
#include <string>

namespace platform {

// Only `enabled` means that the application starts at login.
enum class LoginServiceStatus { notRegistered, enabled, requiresApproval, notFound };

// On whose wish the application registers.
enum class RegistrationReason {
    byDefault, // nobody asked for it: fails while the status is `requiresApproval`
    userAsked, // turns it on again, as far as the system lets an application do that
};

class LoginService {
  public:
    virtual ~LoginService() = default;

    // Asked of the system each time: the user can change it in the system's settings.
    [[nodiscard]] virtual LoginServiceStatus status() const = 0;
    // The error is one sentence for a log.
    [[nodiscard]] virtual std::expected<void, std::string>
    registerApplication(RegistrationReason reason) = 0;
    // The application no longer starts at login. The error is one sentence for a log.
    [[nodiscard]] virtual std::expected<void, std::string> unregisterApplication() = 0;
};

} // namespace platform
