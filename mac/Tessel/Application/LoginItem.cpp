#include "mac/Tessel/Application/LoginItem.h"

namespace tessel {

using platform::RegistrationReason;

bool LoginItem::isEnabled(const platform::LoginService& service) {
    return service.status() == platform::LoginServiceStatus::enabled;
}

std::expected<bool, std::string> LoginItem::toggle(platform::LoginService& service,
                                                   platform::UserDefaults& defaults,
                                                   std::string_view appliedDefaultsKey) {
    defaults.setBoolean(appliedDefaultsKey, true);
    const bool turnOn = !isEnabled(service);
    const auto changed = turnOn ? service.registerApplication(RegistrationReason::userAsked)
                                : service.unregisterApplication();
    if (!changed) {
        return std::unexpected(changed.error());
    }
    return turnOn;
}

void LoginItem::enrollOnceByDefault(platform::LoginService& service,
                                    platform::UserDefaults& defaults,
                                    std::string_view appliedDefaultsKey, bool isInstalled,
                                    const std::function<void(const std::string&)>& log) {
    if (defaults.boolean(appliedDefaultsKey) || !isInstalled) {
        return;
    }
    if (!isEnabled(service)) {
        const auto enrolled = service.registerApplication(RegistrationReason::byDefault);
        if (!enrolled) {
            log("login-item default enroll failed (will retry next launch): " + enrolled.error());
            return;
        }
    }
    defaults.setBoolean(appliedDefaultsKey, true);
}

void LoginItem::enrollOnceByDefault(platform::LoginService& service,
                                    platform::UserDefaults& defaults,
                                    std::string_view appliedDefaultsKey, bool isInstalled,
                                    platform::Log& log) {
    enrollOnceByDefault(service, defaults, appliedDefaultsKey, isInstalled,
                        [&log](const std::string& message) { log.write(message); });
}

} // namespace tessel
