#include "platform/linux/InstanceLock.h"

#include <glib-unix.h>

#include <utility>

namespace platform::desktop {

InstanceLock::~InstanceLock() {
    stopListening();
}

void InstanceLock::listen(std::function<void(std::string)> onRequest) {
    if (posix::InstanceLock::listen(std::move(onRequest))) {
        watch_ = g_unix_fd_add(descriptor(), G_IO_IN, onReadable, this);
    }
}

void InstanceLock::stopListening() {
    if (const guint watch = std::exchange(watch_, 0); watch != 0) {
        g_source_remove(watch);
    }
    posix::InstanceLock::stopListening();
}

gboolean InstanceLock::onReadable(gint /*descriptor*/, GIOCondition /*condition*/, gpointer self) {
    static_cast<InstanceLock*>(self)->answerOne();
    return G_SOURCE_CONTINUE;
}

} // namespace platform::desktop
