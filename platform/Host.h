// What a user would answer about this computer: its name, where the home folders are, what the
// clock on the wall shows. Any thread; nothing is thrown; each call asks the system anew.
#pragma once

#include "platform/Clock.h"

#include <filesystem>
#include <optional>
#include <string>

namespace platform {

// A moment in the process's time zone, by the Gregorian calendar.
struct LocalTime {
    int year = 1970; // of the common era
    int month = 1;   // 1 to 12
    int day = 1;     // 1 to 31
    int hour = 0;    // 0 to 23
    int minute = 0;  // 0 to 59
    int second = 0;  // 0 to 60, for leap seconds

    bool operator==(const LocalTime&) const = default;
};

class Host {
  public:
    virtual ~Host() = default;

    // The name that people gave the computer ("Ann's Studio"), UTF-8 and not empty; absent when
    // the system knows none.
    [[nodiscard]] virtual std::optional<std::string> computerName() const = 0;
    // The home folder of this process's user.
    [[nodiscard]] virtual std::filesystem::path homeFolder() const = 0;
    // The home folder of the user of that name; absent when there is no such user.
    [[nodiscard]] virtual std::optional<std::filesystem::path>
    homeFolderOf(const std::string& user) const = 0;
    // That moment in the process's time zone.
    [[nodiscard]] virtual LocalTime localTime(WallTime time) const = 0;
};

} // namespace platform
