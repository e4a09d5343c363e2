// One attempt of a DeviceLink, from the start request to its end, on the link's queue. It keeps
// itself alive between its steps and holds the link weakly; after each wait it ends in silence if
// the link has gone on to something else. It uses the link's facilities by way of the lifeline
// only, because a request may still be under way when the link, and they with it, are gone.
#pragma once

#include "mac/Tessel/Link/DeviceLink.h"
#include "mac/Tessel/Link/DeviceLinkLifeline.h"
#include "mac/Tessel/Link/Generation.h"

#include <chrono>

namespace tessel {

class DeviceLinkAttempt : public std::enable_shared_from_this<DeviceLinkAttempt> {
  public:
    // Main thread.
    DeviceLinkAttempt(DeviceLink& link, Url origin, std::string deviceName,
                      std::int64_t generation);

    void start();

  private:
    void run();
    void acceptCode(const DeviceLinkStartResponse& reply, const Url& verifyUrl);
    void pauseBeforePoll();
    void poll();
    void conclude(const DeviceLinkPollResponse& reply);
    void finish(std::string message);
    [[nodiscard]] bool isCurrent() const { return generations_->isCurrent(generation_); }
    // Runs on the main thread unless the attempt is stale by then.
    void publish(std::function<void(DeviceLink&)> change);

    std::weak_ptr<DeviceLink> link_;
    std::shared_ptr<Generation> generations_;
    std::int64_t generation_;
    std::shared_ptr<DeviceLinkLifeline> lifeline_;
    std::shared_ptr<DeviceLinkTransport> transport_;
    std::shared_ptr<platform::Queue> queue_;
    platform::MainQueue& mainQueue_;
    platform::Clock& clock_;
    std::shared_ptr<const StateStore> store_;
    std::string appName_;
    Url origin_;
    std::string deviceName_;

    std::string pollToken_;
    Timestamp expiry_ = {};
    std::chrono::nanoseconds pause_{0};
};

} // namespace tessel
