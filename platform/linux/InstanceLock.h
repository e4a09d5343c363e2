// The lock of platform/posix, answered from GLib's default main context. Main thread only.
#pragma once

#include "platform/posix/InstanceLock.h"

#include <glib.h>

#include <functional>
#include <string>

namespace platform::desktop {

class InstanceLock final : private posix::InstanceLock {
  public:
    using posix::InstanceLock::InstanceLock;
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    using posix::InstanceLock::claim;
    using posix::InstanceLock::failure;
    using posix::InstanceLock::isHeld;
    using posix::InstanceLock::Outcome;
    using posix::InstanceLock::waitForHolder;

    // While held: called for every request, with its token, on the main thread.
    void listen(std::function<void(std::string token)> onRequest);
    void stopListening();

  private:
    static gboolean onReadable(gint descriptor, GIOCondition condition, gpointer self);

    guint watch_ = 0;
};

} // namespace platform::desktop
