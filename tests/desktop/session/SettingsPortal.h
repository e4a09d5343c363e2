// The settings portal (org.freedesktop.portal.Settings) of a session's desktop, which knows one
// setting: whether the user wants it dark. See BusService.h.
#pragma once

#include "tests/desktop/session/BusService.h"

#include <atomic>
#include <cstdint>

namespace desktop {

// The values of "color-scheme" in "org.freedesktop.appearance".
enum class ColourPreference : std::uint32_t { none = 0, dark = 1, light = 2 };

class SettingsPortal {
  public:
    SettingsPortal(const PrivateSession& session, ColourPreference preference);

    // Tells everybody.
    void set(ColourPreference preference);

  private:
    std::atomic<ColourPreference> preference_;
    BusService service_;
};

} // namespace desktop
