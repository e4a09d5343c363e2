// The service that starts this application when its user logs in. Modelled on SMAppService's
// mainApp; on XDG desktops it is the user's autostart entry. Main thread only.
#pragma once

#include <expected>
#include <string>

namespace platform {

// Only `enabled` means that the application starts at login.
enum class LoginServiceStatus { notRegistered, enabled, requiresApproval, notFound };

class LoginService {
  public:
    virtual ~LoginService() = default;

    // Asked of the system each time: the user can change it in the system's settings.
    [[nodiscard]] virtual LoginServiceStatus status() const = 0;
    // The error is one sentence for a log.
    [[nodiscard]] virtual std::expected<void, std::string> registerApplication() = 0;
    [[nodiscard]] virtual std::expected<void, std::string> unregisterApplication() = 0;
};

} // namespace platform
