// What shows notifications on a session's desktop (org.freedesktop.Notifications): it only writes
// down what it is to show. See BusService.h.
#pragma once

#include "tests/desktop/session/BusService.h"

#include <mutex>
#include <string>
#include <vector>

namespace desktop {

class NotificationArea {
  public:
    explicit NotificationArea(const PrivateSession& session);

    struct Notification {
        std::string title = {};
        std::string text = {};
    };
    [[nodiscard]] std::vector<Notification> shown() const;

  private:
    [[nodiscard]] GDBusMessage* answerTo(GDBusMessage* call);

    mutable std::mutex mutex_;
    std::vector<Notification> shown_;
    BusService service_;
};

} // namespace desktop
