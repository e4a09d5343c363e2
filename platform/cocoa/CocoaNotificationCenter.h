// Notifications of NSNotificationCenter's default center, so that what the system's and other
// people's frameworks post inside this process is heard as well. One observer a name is
// registered there, on the main operation queue; it calls the handlers of that name in the order
// of their registration. A handler that is added while a notification is being delivered sees the
// next one. Nothing is delivered once this object is gone.
#pragma once

#include "platform/NotificationCenter.h"
#include "platform/Queues.h"
#include "platform/cocoa/RequireArc.h"

#import <Foundation/Foundation.h>

#include <memory>
#include <vector>

namespace platform::cocoa {

class CocoaNotificationCenter final : public NotificationCenter {
  public:
    // The queue is not owned and outlives this object.
    explicit CocoaNotificationCenter(MainQueue& mainQueue);
    ~CocoaNotificationCenter() override;
    CocoaNotificationCenter(const CocoaNotificationCenter&) = delete;
    CocoaNotificationCenter& operator=(const CocoaNotificationCenter&) = delete;

    // Throws std::logic_error on any thread but the main one.
    void observe(std::string name, std::function<void()> handler) override;
    void post(std::string_view name) override;

  private:
    struct Handlers;

    MainQueue& mainQueue_;
    std::shared_ptr<Handlers> handlers_;
    std::vector<id<NSObject>> observers_;
};

} // namespace platform::cocoa
