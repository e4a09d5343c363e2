#include "platform/linux/InstanceLock.h"

#include <glib-unix.h>

#include <utility>

namespace platform::desktop {
namespace {

posix::InstanceLock::Place placeOf(const InstancePlace& place) {
    if (place == InstancePlace()) {
        return {};
    }
    return {.text = written(place), .sees = [place](const std::string& holder) {
                const auto other = readPlace(holder);
                return !other || shareADisplay(*other, place);
            }};
}

} // namespace

InstanceLock::InstanceLock(std::filesystem::path folder, const InstancePlace& place)
    : posix::InstanceLock(std::move(folder), placeOf(place)) {}

InstanceLock::~InstanceLock() {
    stopListening();
}

void InstanceLock::listen(Requests requests) {
    if (posix::InstanceLock::listen(std::move(requests.reopen), std::move(requests.stays))) {
        watch_ = g_unix_fd_add(descriptor(), G_IO_IN, onReadable, this);
    }
}

void InstanceLock::stopListening() {
    if (const guint watch = std::exchange(watch_, 0); watch != 0) {
        g_source_remove(watch);
    }
    posix::InstanceLock::stopListening();
}

std::optional<InstancePlace> InstanceLock::holder() const {
    return readPlace(posix::InstanceLock::holder());
}

gboolean InstanceLock::onReadable(gint /*descriptor*/, GIOCondition /*condition*/, gpointer self) {
    static_cast<InstanceLock*>(self)->answerOne();
    return G_SOURCE_CONTINUE;
}

} // namespace platform::desktop
