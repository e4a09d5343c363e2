// BackgroundQueues on libdispatch: its global queues of QOS_CLASS_USER_INITIATED and
// QOS_CLASS_UTILITY, and serial queues of its own. The global queues belong to the process: the
// destructor neither waits for tasks nor drops them, so whatever a task uses has to be owned by
// it. Delays are described in CocoaMainQueue.h.
#pragma once

#include "platform/Queues.h"
#include "platform/cocoa/RequireArc.h"

#include <dispatch/dispatch.h>

namespace platform::cocoa {

class DispatchQueue final : public Queue {
  public:
    explicit DispatchQueue(dispatch_queue_t queue);

    void post(Task task) override;
    void postAfter(std::chrono::nanoseconds delay, Task task) override;

  private:
    dispatch_queue_t queue_;
};

class DispatchQueues final : public BackgroundQueues {
  public:
    DispatchQueues();

    [[nodiscard]] Queue& global(QualityOfService qos) override;
    [[nodiscard]] std::unique_ptr<Queue> makeSerial(const std::string& label,
                                                    QualityOfService qos) override;

  private:
    DispatchQueue userInitiated_;
    DispatchQueue utility_;
};

} // namespace platform::cocoa
