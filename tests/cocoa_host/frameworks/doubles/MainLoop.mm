#include "tests/cocoa_host/frameworks/doubles/MainLoop.h"

#import <Foundation/Foundation.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <deque>
#include <mutex>
#include <utility>

namespace cocoa_host {
namespace {

using Work = std::function<void()>;

class MainLoop {
  public:
    void perform(Work work) {
        const std::lock_guard lock(mutex_);
        performed_.push_back(std::move(work));
    }
    void post(Work task) {
        {
            const std::lock_guard lock(mutex_);
            tasks_.push_back(std::move(task));
        }
        wake();
    }
    void wake() const { ::eventfd_write(event_, 1); }
    [[nodiscard]] int descriptor() const { return event_; }

    void serve() {
        eventfd_t count = 0;
        ::eventfd_read(event_, &count);
        for (std::size_t left = sizeOf(performed_); left > 0; --left) {
            runFirstOf(performed_);
        }
        if (busy_) {
            return; // inside a task
        }
        busy_ = true;
        for (std::size_t left = sizeOf(tasks_); left > 0; --left) {
            runFirstOf(tasks_);
        }
        busy_ = false;
        if (sizeOf(tasks_) > 0) {
            wake();
        }
    }

  private:
    [[nodiscard]] std::size_t sizeOf(const std::deque<Work>& queue) {
        const std::lock_guard lock(mutex_);
        return queue.size();
    }
    void runFirstOf(std::deque<Work>& queue) {
        Work next;
        {
            const std::lock_guard lock(mutex_);
            if (queue.empty()) {
                return; // taken by a run loop inside the one before
            }
            next = std::move(queue.front());
            queue.pop_front();
        }
        @autoreleasepool {
            next();
            next = nullptr;
        }
    }

    int event_ = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    bool busy_ = false; // main thread
    std::mutex mutex_;
    std::deque<Work> performed_;
    std::deque<Work> tasks_;
};

// Never destroyed: other threads post until the process is gone.
MainLoop& mainLoop() {
    static auto* const loop = new MainLoop;
    return *loop;
}

} // namespace

void performOnMainLoop(Work work) { mainLoop().perform(std::move(work)); }
void postToMainQueue(Work task) { mainLoop().post(std::move(task)); }
void wakeMainLoop() { mainLoop().wake(); }

} // namespace cocoa_host

@interface HostMainLoopWatcher : NSObject
@end

@implementation HostMainLoopWatcher
- (void)receivedEvent:(void*)__unused data
                 type:(int)__unused type
                extra:(void*)__unused extra
              forMode:(NSString*)__unused mode {
    cocoa_host::mainLoop().serve();
}
- (NSDate*)timedOutEvent:(void*)__unused data
                    type:(int)__unused type
                 forMode:(NSString*)__unused mode {
    return nil;
}
@end

extern "C" void cocoaHostWatchMainLoop() {
    constexpr int readable = 0; // ET_RDESC
    @autoreleasepool {
        static HostMainLoopWatcher* const watcher = [[HostMainLoopWatcher alloc] init];
        for (const auto& mode :
             {@"NSDefaultRunLoopMode", @"NSModalPanelRunLoopMode", @"NSEventTrackingRunLoopMode"}) {
            const auto descriptor = static_cast<std::intptr_t>(cocoa_host::mainLoop().descriptor());
            [NSRunLoop.currentRunLoop addEvent:reinterpret_cast<void*>(descriptor)
                                          type:readable
                                       watcher:watcher
                                       forMode:mode];
        }
    }
}
