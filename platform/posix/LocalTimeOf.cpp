#include "platform/posix/LocalTimeOf.h"

#include <ctime>

namespace platform::posix {

LocalTime localTimeOf(WallTime time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(
        std::chrono::time_point_cast<std::chrono::system_clock::duration>(
            std::chrono::floor<std::chrono::seconds>(time)));
    std::tm fields{};
    if (::localtime_r(&seconds, &fields) == nullptr) {
        return {};
    }
    return {.year = fields.tm_year + 1900,
            .month = fields.tm_mon + 1,
            .day = fields.tm_mday,
            .hour = fields.tm_hour,
            .minute = fields.tm_min,
            .second = fields.tm_sec};
}

} // namespace platform::posix
