// A service of a session's desktop, played by a test: a well-known name on the session bus and the
// calls of one interface. It has a connection of its own and answers on GLib's worker thread, so it
// needs no main loop. Gone from the bus with the object.
#pragma once

#include "platform/linux/GObjectPtr.h"
#include "tests/desktop/session/PrivateSession.h"

#include <gio/gio.h>

#include <functional>
#include <string>

namespace desktop {

class BusService {
  public:
    // Makes the answer to a call, on the worker thread.
    using Answer = std::function<GDBusMessage*(GDBusMessage* call)>;

    // Returns once it has the name. Throws std::runtime_error when the bus cannot be reached.
    BusService(const PrivateSession& session, const char* name, std::string interface,
               Answer answer);
    ~BusService();
    BusService(const BusService&) = delete;
    BusService& operator=(const BusService&) = delete;

    void emit(const char* path, const char* signal, GVariant* parameters) const;

  private:
    static GDBusMessage* onMessage(GDBusConnection* connection, GDBusMessage* message,
                                   gboolean incoming, gpointer self);

    std::string interface_;
    Answer answer_;
    platform::gtk::GObjectPtr<GDBusConnection> connection_;
    guint filter_ = 0;
};

} // namespace desktop
