// Notifications inside this process, delivered through the main queue. A handler that is added
// while a notification is being delivered sees the next one. Once the center is gone, what was
// posted and not yet delivered is dropped.
#pragma once

#include "platform/NotificationCenter.h"
#include "platform/Queues.h"

#include <memory>

namespace platform {

class LocalNotificationCenter final : public NotificationCenter {
  public:
    // The queue is not owned and outlives this object.
    explicit LocalNotificationCenter(MainQueue& mainQueue);
    ~LocalNotificationCenter() override;
    LocalNotificationCenter(const LocalNotificationCenter&) = delete;
    LocalNotificationCenter& operator=(const LocalNotificationCenter&) = delete;

    // Throws std::logic_error on any thread but the main one.
    void observe(std::string name, std::function<void()> handler) override;
    void post(std::string_view name) override;

  private:
    struct Handlers;

    MainQueue& mainQueue_;
    std::shared_ptr<Handlers> handlers_;
};

} // namespace platform
