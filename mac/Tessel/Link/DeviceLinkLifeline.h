// What the attempts of a DeviceLink share with it: as long as the link is there they may use its
// facilities, and only then. Any thread.
#pragma once

#include "mac/Tessel/Link/DeviceLinkTransport.h"

#include <memory>
#include <mutex>
#include <vector>

namespace tessel {

class DeviceLinkLifeline {
  public:
    // Runs the work, quick work only, unless the line was cut; cutting waits for its end. False
    // when the work was not run. The work must not drop the link.
    template <typename Work>
    bool use(const Work& work) {
        const std::scoped_lock lock(mutex_);
        if (isCut_) {
            return false;
        }
        work();
        return true;
    }

    // A transport whose question ends when the line is cut.
    void watch(const std::shared_ptr<DeviceLinkTransport>& transport) {
        const std::scoped_lock lock(mutex_);
        std::erase_if(transports_, [](const auto& known) { return known.expired(); });
        transports_.push_back(transport);
    }

    // From now on no attempt uses a facility.
    void cut() {
        const std::scoped_lock lock(mutex_);
        isCut_ = true;
        for (const auto& known : transports_) {
            if (const auto transport = known.lock()) {
                transport->abandon();
            }
        }
    }

  private:
    std::mutex mutex_;
    bool isCut_ = false;
    std::vector<std::weak_ptr<DeviceLinkTransport>> transports_;
};

} // namespace tessel
