// The lock of platform/posix, answered from GLib's default main context, and with this desktop's
// places: an instance whose display is not seen from here is not asked to show itself, because
// nobody would see it. Main thread only.
#pragma once

#include "platform/linux/InstancePlace.h"
#include "platform/posix/InstanceLock.h"

#include <glib.h>

#include <functional>
#include <optional>
#include <string>

namespace platform::desktop {

class InstanceLock final : private posix::InstanceLock {
  public:
    // `place` is this instance's; an empty one is not written, and sees everything.
    explicit InstanceLock(std::filesystem::path folder, const InstancePlace& place = {});
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    using posix::InstanceLock::claim;
    using posix::InstanceLock::failure;
    using posix::InstanceLock::isHeld;
    using posix::InstanceLock::Outcome;
    using posix::InstanceLock::waitForHolder;

    struct Requests {
        // To show itself, with the activation token.
        std::function<void(std::string token)> reopen;
        // An instance elsewhere wants the lock. False: this one is of no use any more where it is,
        // and ends soon; the other waits for that. Does not block.
        std::function<bool()> stays = [] { return true; };
    };
    // While held: called for every request, on the main thread.
    void listen(Requests requests);
    void stopListening();

    // Where the one that has the lock says it is, if it does.
    [[nodiscard]] std::optional<InstancePlace> holder() const;

  private:
    static gboolean onReadable(gint descriptor, GIOCondition condition, gpointer self);

    guint watch_ = 0;
};

} // namespace platform::desktop
