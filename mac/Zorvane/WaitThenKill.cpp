#include "mac/Zorvane/WaitThenKill.h"

#include <chrono>
#include <utility>

namespace zorvane {
namespace {

constexpr std::chrono::milliseconds exitPollInterval{100};

struct Ending {
    std::shared_ptr<platform::ChildProcess> child;
    platform::SteadyTime deadline;
    platform::Clock& clock;
    platform::Queue& queue;
};

bool mayStillEnd(platform::ChildProcess& child, platform::SteadyTime deadline,
                 platform::Clock& clock) {
    return child.isRunning() && clock.now() < deadline;
}

void lookAgain(const std::shared_ptr<Ending>& ending) {
    if (mayStillEnd(*ending->child, ending->deadline, ending->clock)) {
        ending->queue.postAfter(exitPollInterval, [ending] { lookAgain(ending); });
        return;
    }
    ending->child->kill();
}

} // namespace

void waitThenKill(platform::ChildProcess& child, platform::SteadyTime deadline,
                  platform::Clock& clock) {
    while (mayStillEnd(child, deadline, clock)) {
        child.waitForExit(exitPollInterval);
    }
    child.kill();
}

void waitThenKill(std::shared_ptr<platform::ChildProcess> child, platform::SteadyTime deadline,
                  platform::Clock& clock, platform::Queue& queue) {
    const auto ending = std::make_shared<Ending>(Ending{std::move(child), deadline, clock, queue});
    queue.post([ending] { lookAgain(ending); });
}

} // namespace zorvane
