// LoginService on SMAppService's mainAppService (macOS 13). When the user has switched the
// application off in System Settings, the system itself refuses to register it, whoever asked.
// Main thread only.
#pragma once

#include "platform/LoginService.h"
#include "platform/cocoa/RequireArc.h"

namespace platform::cocoa {

class CocoaLoginService final : public LoginService {
  public:
    [[nodiscard]] LoginServiceStatus status() const override;
    [[nodiscard]] std::expected<void, std::string>
    registerApplication(RegistrationReason reason) override;
    [[nodiscard]] std::expected<void, std::string> unregisterApplication() override;
};

} // namespace platform::cocoa
