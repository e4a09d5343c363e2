#include "platform/linux/LocalNotificationCenter.h"

#include <deque>
#include <map>
#include <stdexcept>
#include <utility>

namespace platform {

// Touched on the main thread only. A deque, because handlers may add handlers while they run.
struct LocalNotificationCenter::Handlers {
    std::map<std::string, std::deque<std::function<void()>>, std::less<>> byName;

    void deliver(const std::string& name) {
        const auto found = byName.find(name);
        if (found == byName.end()) {
            return;
        }
        auto& handlers = found->second;
        const std::size_t registered = handlers.size();
        for (std::size_t i = 0; i < registered; ++i) {
            handlers[i]();
        }
    }
};

LocalNotificationCenter::LocalNotificationCenter(MainQueue& mainQueue)
    : mainQueue_(mainQueue)
    , handlers_(std::make_shared<Handlers>()) {}

LocalNotificationCenter::~LocalNotificationCenter() = default;

void LocalNotificationCenter::observe(std::string name, std::function<void()> handler) {
    if (!mainQueue_.isMainThread()) {
        throw std::logic_error("NotificationCenter::observe belongs on the main thread");
    }
    handlers_->byName[std::move(name)].push_back(std::move(handler));
}

void LocalNotificationCenter::post(std::string_view name) {
    mainQueue_.post([weak = std::weak_ptr(handlers_), posted = std::string(name)] {
        if (const auto handlers = weak.lock()) {
            handlers->deliver(posted);
        }
    });
}

} // namespace platform
