#include "mac/Tessel/Values/Timestamp.h"

#include <fmt/format.h>

#include <array>
#include <cstddef>

namespace tessel {
namespace {

using std::chrono::milliseconds;

constexpr std::int64_t millisecondsOfDay = 86'400'000;
constexpr std::int64_t daysOfEra = 146'097; // 400 years

constexpr std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

// Years here begin in March, so that the leap day is the last one; day 0 is 0000-03-01.
constexpr std::int64_t daysBeforeEpoch = 719'468;

constexpr std::int64_t daysSinceEpoch(std::int64_t year, unsigned month, unsigned day) {
    const std::int64_t marchYear = month <= 2 ? year - 1 : year;
    const std::int64_t era = floorDivide(marchYear, 400);
    const std::int64_t yearOfEra = marchYear - era * 400;
    const std::int64_t monthFromMarch = (month + 9) % 12;
    const std::int64_t dayOfYear = (153 * monthFromMarch + 2) / 5 + day - 1;
    return era * daysOfEra + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear -
           daysBeforeEpoch;
}

constexpr bool isLeapYear(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr unsigned daysOfMonth(std::int64_t year, unsigned month) {
    constexpr std::array<unsigned, 12> days{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeapYear(year) ? 29 : days[month - 1];
}

void setDate(CalendarTime& fields, std::int64_t days) {
    const std::int64_t shifted = days + daysBeforeEpoch;
    const std::int64_t era = floorDivide(shifted, daysOfEra);
    const std::int64_t dayOfEra = shifted - era * daysOfEra;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1'460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    fields.day = static_cast<unsigned>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    fields.month =
        static_cast<unsigned>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    fields.year = era * 400 + yearOfEra + (fields.month <= 2 ? 1 : 0);
}

std::string formatUpToSeconds(const CalendarTime& fields) {
    const bool fourDigits = fields.year >= 0 && fields.year <= 9999;
    return (fourDigits ? fmt::format("{:04}", fields.year) : fmt::format("{:+05}", fields.year)) +
           fmt::format("-{:02}-{:02}T{:02}:{:02}:{:02}", fields.month, fields.day, fields.hour,
                       fields.minute, fields.second);
}

// Takes what it expects from the front of a text; once something else is there, `failed` stays.
class Reader {
  public:
    explicit Reader(std::string_view text)
        : rest_(text) {}

    unsigned digits(std::size_t count) {
        unsigned value = 0;
        for (; count > 0; --count) {
            value = value * 10 + digit();
        }
        return value;
    }

    void expect(std::string_view anyOf) {
        failed_ = failed_ || rest_.empty() || anyOf.find(rest_.front()) == std::string_view::npos;
        skip();
    }

    bool accept(char wanted) {
        const bool found = !failed_ && rest_.starts_with(wanted);
        if (found) {
            skip();
        }
        return found;
    }

    // At least one digit, at most `most`; the first three count.
    unsigned fraction(std::size_t most) {
        unsigned value = 0;
        std::size_t count = 0;
        do {
            const unsigned next = digit();
            value = count < 3 ? value * 10 + next : value;
            ++count;
        } while (!failed_ && count < most && !rest_.empty() && isDigit(rest_.front()));
        for (; count < 3; ++count) {
            value *= 10;
        }
        return value;
    }

    [[nodiscard]] bool failed() const { return failed_; }
    [[nodiscard]] bool reachedEnd() const { return !failed_ && rest_.empty(); }

  private:
    static bool isDigit(char character) { return character >= '0' && character <= '9'; }

    unsigned digit() {
        failed_ = failed_ || rest_.empty() || !isDigit(rest_.front());
        const unsigned value = failed_ ? 0 : static_cast<unsigned>(rest_.front() - '0');
        skip();
        return value;
    }

    void skip() {
        if (!failed_) {
            rest_.remove_prefix(1);
        }
    }

    std::string_view rest_;
    bool failed_ = false;
};

CalendarTime readFields(Reader& reader, std::string_view separators) {
    CalendarTime fields;
    fields.year = reader.digits(4);
    reader.expect("-");
    fields.month = reader.digits(2);
    reader.expect("-");
    fields.day = reader.digits(2);
    reader.expect(separators);
    fields.hour = reader.digits(2);
    reader.expect(":");
    fields.minute = reader.digits(2);
    reader.expect(":");
    fields.second = reader.digits(2);
    return fields;
}

std::optional<Timestamp> pointInTime(const CalendarTime& fields) {
    const bool real = fields.month >= 1 && fields.month <= 12 && fields.day >= 1 &&
                      fields.day <= daysOfMonth(fields.year, fields.month) && fields.hour < 24 &&
                      fields.minute < 60 && fields.second < 60;
    if (!real) {
        return std::nullopt;
    }
    const std::int64_t seconds =
        std::int64_t{fields.hour} * 3'600 + fields.minute * 60 + fields.second;
    return Timestamp(
        milliseconds(daysSinceEpoch(fields.year, fields.month, fields.day) * millisecondsOfDay +
                     seconds * 1'000 + fields.millisecond));
}

// The offset from UTC at the end of an internet date-time.
std::optional<std::chrono::minutes> readOffset(Reader& reader) {
    if (reader.accept('Z') || reader.accept('z')) {
        return std::chrono::minutes(0);
    }
    const bool behind = reader.accept('-');
    if (!behind) {
        reader.expect("+");
    }
    const unsigned hours = reader.digits(2);
    reader.expect(":");
    const unsigned minutes = reader.digits(2);
    if (reader.failed() || hours > 23 || minutes > 59) {
        return std::nullopt;
    }
    const auto offset = std::chrono::minutes(hours * 60 + minutes);
    return behind ? -offset : offset;
}

} // namespace

CalendarTime calendarTime(Timestamp time) {
    const std::int64_t count = time.time_since_epoch().count();
    const std::int64_t days = floorDivide(count, millisecondsOfDay);
    // The first day begins before the earliest time that can be told.
    const auto ofDay =
        static_cast<unsigned>((count % millisecondsOfDay + millisecondsOfDay) % millisecondsOfDay);
    CalendarTime fields;
    setDate(fields, days);
    fields.hour = ofDay / 3'600'000;
    fields.minute = ofDay / 60'000 % 60;
    fields.second = ofDay / 1'000 % 60;
    fields.millisecond = ofDay % 1'000;
    return fields;
}

std::string formatTimestamp(Timestamp time) {
    const CalendarTime fields = calendarTime(time);
    return formatUpToSeconds(fields) + fmt::format(".{:03}Z", fields.millisecond);
}

std::string formatTimestampWithoutFraction(Timestamp time) {
    return formatUpToSeconds(calendarTime(time)) + "Z";
}

std::optional<Timestamp> parseTimestamp(std::string_view text) {
    Reader reader(text);
    CalendarTime fields = readFields(reader, "T");
    if (reader.accept('.')) {
        fields.millisecond = reader.fraction(9);
    }
    reader.expect("Z");
    return reader.reachedEnd() ? pointInTime(fields) : std::nullopt;
}

std::optional<Timestamp> parseInternetDateTime(std::string_view text) {
    Reader reader(text);
    CalendarTime fields = readFields(reader, "Tt");
    if (reader.accept('.')) {
        fields.millisecond = reader.fraction(text.size());
    }
    const auto offset = readOffset(reader);
    const auto local = pointInTime(fields);
    if (!offset || !local || !reader.reachedEnd()) {
        return std::nullopt;
    }
    const Timestamp time = *local - *offset;
    const std::int64_t year = calendarTime(time).year;
    return year >= 0 && year <= 9999 ? std::optional(time) : std::nullopt;
}

} // namespace tessel
