// Points in time as ISO 8601 text in UTC, to the millisecond, by the proleptic Gregorian calendar.
// Reading is strict: the year has four digits (0000 to 9999), every field is a real one of the
// calendar, and the second 60 is no date. Digits beyond the millisecond are read and dropped.
// Pure functions that know no locale; any thread; nothing is thrown.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessel {

// A point in time in UTC.
using Timestamp = std::chrono::sys_time<std::chrono::milliseconds>;

// The fields of a point in time in UTC.
struct CalendarTime {
    // By the Gregorian calendar, without leap seconds.
    std::int64_t year = 0;
    unsigned month = 1; // 1 to 12
    unsigned day = 1;   // 1 to 31
    // From 0.
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;
    unsigned millisecond = 0;

    bool operator==(const CalendarTime&) const = default;
};

// Of any moment.
[[nodiscard]] CalendarTime calendarTime(Timestamp time);

// YYYY-MM-DDTHH:MM:SS.sssZ. A year outside 0000 to 9999 is written with a sign and all its digits,
// which parseTimestamp() refuses.
[[nodiscard]] std::string formatTimestamp(Timestamp time);

// YYYY-MM-DDTHH:MM:SSZ, the second that has begun.
[[nodiscard]] std::string formatTimestampWithoutFraction(Timestamp time);

// YYYY-MM-DDTHH:MM:SSZ, or the same with "." and 1 to 9 digits before the "Z"; absent otherwise.
[[nodiscard]] std::optional<Timestamp> parseTimestamp(std::string_view text);

// An internet date-time (RFC 3339, section 5.6): any number of fractional digits, "Z" or an offset
// from UTC, and "t" and "z" in either case. Absent when it is none or lies outside 0000 to 9999.
[[nodiscard]] std::optional<Timestamp> parseInternetDateTime(std::string_view text);

} // namespace tessel
