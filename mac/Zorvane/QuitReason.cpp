#include "mac/Zorvane/QuitReason.h"

#include <algorithm>
#include <array>

namespace zorvane {

bool quitReasonIsSystem(const std::optional<platform::SystemEvent>& event) {
    static constexpr std::array reasons{fourCC("logo"), fourCC("rlgo"), fourCC("shut"),
                                        fourCC("rsdn"), fourCC("rest"), fourCC("rrst")};
    if (!event || event->eventClass != fourCC("aevt") || event->eventId != fourCC("quit") ||
        !event->why) {
        return false;
    }
    return std::ranges::find(reasons, *event->why) != reasons.end();
}

} // namespace zorvane
