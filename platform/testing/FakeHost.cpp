#include "platform/testing/FakeHost.h"

#include <chrono>

namespace platform::testing {

std::optional<std::filesystem::path> FakeHost::homeFolderOf(const std::string& user) const {
    const auto found = homes.find(user);
    return found == homes.end() ? std::nullopt : std::optional(found->second);
}

LocalTime FakeHost::localTime(WallTime time) const {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss ofDay(std::chrono::floor<std::chrono::seconds>(time - day));
    return {.year = static_cast<int>(date.year()),
            .month = static_cast<int>(static_cast<unsigned>(date.month())),
            .day = static_cast<int>(static_cast<unsigned>(date.day())),
            .hour = static_cast<int>(ofDay.hours().count()),
            .minute = static_cast<int>(ofDay.minutes().count()),
            .second = static_cast<int>(ofDay.seconds().count())};
}

} // namespace platform::testing
