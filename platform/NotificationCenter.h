// Named notifications inside the process. Handlers run on the main thread, in the order of their
// registration, and stay registered for the life of the process.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace platform {

class NotificationCenter {
  public:
    virtual ~NotificationCenter() = default;

    // Has `handler` called for each notification of that name from now on. Main thread.
    virtual void observe(std::string name, std::function<void()> handler) = 0;
    // Tells those who observe that name. Any thread; handlers run later, on the main queue.
    virtual void post(std::string_view name) = 0;
};

} // namespace platform
