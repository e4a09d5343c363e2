#include "platform/posix/InstanceWatch.h"

#include "platform/posix/Pipe.h"
#include "platform/posix/QuietThread.h"

#include <poll.h>

#include <array>
#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>

namespace platform::posix {
namespace {

void answerUntilClosed(InstanceLock& lock, int stop) {
    std::array<pollfd, 2> watched{pollfd{.fd = lock.descriptor(), .events = POLLIN, .revents = 0},
                                  pollfd{.fd = stop, .events = POLLIN, .revents = 0}};
    for (;;) {
        const int ready = ::poll(watched.data(), watched.size(), -1);
        if ((ready < 0 && errno != EINTR) || watched[1].revents != 0) {
            return;
        }
        if (ready > 0 && watched[0].revents != 0) {
            lock.answerOne();
        }
    }
}

} // namespace

InstanceWatch::InstanceWatch(InstanceLock& lock) {
    auto stop = makePipe();
    if (!stop) {
        throw std::system_error(stop.error(), std::generic_category(), "pipe");
    }
    stop_ = std::move(stop->writeEnd);
    // Shared, because a function that can be copied owns nothing alone.
    auto stopped = std::make_shared<UniqueFd>(std::move(stop->readEnd));
    thread_ = startQuietThread("instances",
                               [&lock, stopped] { answerUntilClosed(lock, stopped->get()); });
}

InstanceWatch::~InstanceWatch() {
    stop_.reset();
    thread_.join();
}

} // namespace platform::posix
