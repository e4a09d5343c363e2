#include "platform/appcast/CheckSchedule.h"

namespace platform::appcast {

std::chrono::seconds untilNextCheck(std::int64_t lastCheck, WallTime now) {
    const auto seconds = secondsSince1970(now);
    const auto interval = std::chrono::seconds(checkInterval);
    if (lastCheck <= 0 || lastCheck > seconds || seconds - lastCheck >= interval.count()) {
        return std::chrono::seconds(0);
    }
    return interval - std::chrono::seconds(seconds - lastCheck);
}

std::int64_t secondsSince1970(WallTime time) {
    return std::chrono::floor<std::chrono::seconds>(time.time_since_epoch()).count();
}

} // namespace platform::appcast
