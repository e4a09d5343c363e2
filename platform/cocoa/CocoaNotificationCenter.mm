#include "platform/cocoa/CocoaNotificationCenter.h"

#include "platform/cocoa/Text.h"

#include <deque>
#include <map>
#include <stdexcept>
#include <utility>

namespace platform::cocoa {

// Touched on the main thread only. A deque, because handlers may add handlers while they run.
struct CocoaNotificationCenter::Handlers {
    std::map<std::string, std::deque<std::function<void()>>, std::less<>> byName;

    void deliver(const std::string& name) {
        auto& handlers = byName[name];
        const std::size_t registered = handlers.size();
        for (std::size_t i = 0; i < registered; ++i) {
            handlers[i]();
        }
    }
};

CocoaNotificationCenter::CocoaNotificationCenter(MainQueue& mainQueue)
    : mainQueue_(mainQueue), handlers_(std::make_shared<Handlers>()) {}

CocoaNotificationCenter::~CocoaNotificationCenter() {
    for (const id<NSObject>& observer : observers_) {
        [NSNotificationCenter.defaultCenter removeObserver:observer];
    }
}

void CocoaNotificationCenter::observe(std::string name, std::function<void()> handler) {
    if (!mainQueue_.isMainThread()) {
        throw std::logic_error("NotificationCenter::observe belongs on the main thread");
    }
    auto& handlers = handlers_->byName[name];
    handlers.push_back(std::move(handler));
    if (handlers.size() > 1) {
        return;
    }
    const std::weak_ptr<Handlers> weak = handlers_;
    @autoreleasepool {
        observers_.push_back([NSNotificationCenter.defaultCenter
            addObserverForName:toFoundation(name)
                        object:nil
                         queue:NSOperationQueue.mainQueue
                    usingBlock:^(NSNotification*) {
                      if (const auto alive = weak.lock()) {
                          alive->deliver(name);
                      }
                    }]);
    }
}

// By way of the main queue: posted on the main thread, it would call the handlers at once.
void CocoaNotificationCenter::post(std::string_view name) {
    mainQueue_.post([posted = std::string(name)] {
        [NSNotificationCenter.defaultCenter postNotificationName:toFoundation(posted) object:nil];
    });
}

} // namespace platform::cocoa
