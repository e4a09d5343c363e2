// libdispatch's queues under the queue contracts. The main run loop serves the main queue.
#include "tests/platform/services/QueueContract.h"
#include "platform/cocoa/CocoaMainQueue.h"
#include "platform/cocoa/DispatchQueues.h"

#import <Foundation/Foundation.h>

namespace {

class CocoaMainQueueHarness final : public MainQueueHarness {
  public:
    platform::MainQueue& queue() override { return queue_; }
    platform::SteadyTime now() const override { return std::chrono::steady_clock::now(); }
    void runUntil(const std::function<bool()>& condition) override {
        while (!condition()) {
            CFRunLoopRunInMode(kCFRunLoopDefaultMode, 1, true);
        }
    }

  private:
    platform::cocoa::CocoaMainQueue queue_;
};

std::unique_ptr<MainQueueHarness> cocoaMainQueue() {
    return std::make_unique<CocoaMainQueueHarness>();
}

std::unique_ptr<platform::BackgroundQueues> dispatchQueues() {
    return std::make_unique<platform::cocoa::DispatchQueues>();
}

INSTANTIATE_TEST_SUITE_P(Cocoa, MainQueueContract, testing::Values(cocoaMainQueue));
INSTANTIATE_TEST_SUITE_P(Cocoa, MainQueueThreadContract, testing::Values(cocoaMainQueue));
INSTANTIATE_TEST_SUITE_P(Dispatch, BackgroundQueuesContract, testing::Values(dispatchQueues));

} // namespace
