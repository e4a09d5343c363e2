// Registers the application as a login item: once by default, and afterwards only on the user's
// request. Stateless; all it keeps is one flag of the user's defaults, under a key of the
// caller's, that goes from false to true once: the default was applied, or the user has chosen.
// A default enrolment never takes back what the user switched off in the system's settings; it
// fails then, and is tried again at the next launch. Main thread only.
#pragma once

#include "platform/Log.h"
#include "platform/LoginService.h"
#include "platform/UserDefaults.h"

#include <expected>
#include <functional>
#include <string>
#include <string_view>

namespace tessel {

struct LoginItem {
    // By the system's own state, which the user may have changed elsewhere.
    [[nodiscard]] static bool isEnabled(const platform::LoginService& service);

    // Registers the application, or unregisters it when it is enabled. The new state, or the
    // system's reason in one sentence; the flag is set either way.
    [[nodiscard]] static std::expected<bool, std::string>
    toggle(platform::LoginService& service, platform::UserDefaults& defaults,
           std::string_view appliedDefaultsKey);

    // An application that is not installed is never enrolled, and the decision stays open. `log`
    // is told of a failure.
    static void enrollOnceByDefault(platform::LoginService& service,
                                    platform::UserDefaults& defaults,
                                    std::string_view appliedDefaultsKey, bool isInstalled,
                                    const std::function<void(const std::string&)>& log);
    // The same, with the system's log.
    static void enrollOnceByDefault(platform::LoginService& service,
                                    platform::UserDefaults& defaults,
                                    std::string_view appliedDefaultsKey, bool isInstalled,
                                    platform::Log& log);
};

} // namespace tessel
