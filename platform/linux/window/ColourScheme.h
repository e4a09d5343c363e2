// Light or dark as the user has set it for the whole desktop: the setting "color-scheme" of
// "org.freedesktop.appearance" (the settings portal of freedesktop.org), from the start, whenever
// it changes, and when the portal comes back. GTK draws with it and WebKit tells pages of it
// (prefers-color-scheme). Where there is no portal, or no preference, the toolkit's own settings
// hold. Main thread only.
#pragma once

#include "platform/linux/GObjectPtr.h"

#include <gio/gio.h>

namespace platform::gtk {

class ColourScheme {
  public:
    ColourScheme();
    ~ColourScheme();
    ColourScheme(const ColourScheme&) = delete;
    ColourScheme& operator=(const ColourScheme&) = delete;

  private:
    static void onBus(GObject* source, GAsyncResult* result, gpointer self);
    static void onPortal(GDBusConnection* connection, const char* name, const char* owner,
                         gpointer self);
    static void onRead(GObject* connection, GAsyncResult* result, gpointer self);
    static void onChanged(GDBusConnection* connection, const char* sender, const char* path,
                          const char* interface, const char* signal, GVariant* parameters,
                          gpointer self);

    GObjectPtr<GCancellable> calls_{g_cancellable_new()};
    GObjectPtr<GDBusConnection> connection_;
    guint portal_ = 0;
    guint changes_ = 0;
};

} // namespace platform::gtk
