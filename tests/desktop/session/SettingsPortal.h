// The settings portal (org.freedesktop.portal.Settings) of a session's desktop, which knows one
// setting: whether the user wants it dark. It has a connection of its own and answers on GLib's
// worker thread, so it needs no main loop. Gone from the bus with the object. Throws
// std::runtime_error when the bus cannot be reached.
#pragma once

#include "platform/linux/GObjectPtr.h"
#include "tests/desktop/session/PrivateSession.h"

#include <gio/gio.h>

#include <atomic>
#include <cstdint>

namespace desktop {

// The values of "color-scheme" in "org.freedesktop.appearance".
enum class ColourPreference : std::uint32_t { none = 0, dark = 1, light = 2 };

class SettingsPortal {
  public:
    SettingsPortal(const PrivateSession& session, ColourPreference preference);
    ~SettingsPortal();
    SettingsPortal(const SettingsPortal&) = delete;
    SettingsPortal& operator=(const SettingsPortal&) = delete;

    // Tells everybody.
    void set(ColourPreference preference);

  private:
    static GDBusMessage* onMessage(GDBusConnection* connection, GDBusMessage* message,
                                   gboolean incoming, gpointer self);

    std::atomic<ColourPreference> preference_;
    platform::gtk::GObjectPtr<GDBusConnection> connection_;
    guint filter_ = 0;
};

} // namespace desktop
