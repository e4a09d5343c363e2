#include "mac/Tessel/Values/Timestamp.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::sys_days;
using tessel::Timestamp;

Timestamp date(int year, unsigned month, unsigned day) {
    return sys_days(std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day));
}

TEST(Timestamp, isWrittenWithThreeFractionalDigits) {
    EXPECT_EQ(tessel::formatTimestamp(Timestamp(0ms)), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(tessel::formatTimestamp(date(2026, 11, 21) + 4h + 46min + 23s + 7ms),
              "2026-11-21T04:46:23.007Z");
}

TEST(Timestamp, isWrittenWithoutAFractionAsTheSecondThatHasBegun) {
    EXPECT_EQ(tessel::formatTimestampWithoutFraction(Timestamp(1'999ms)), "1970-01-01T00:00:01Z");
    EXPECT_EQ(tessel::formatTimestampWithoutFraction(Timestamp(-1ms)), "1969-12-31T23:59:59Z");
}

TEST(Timestamp, beforeTheEpochCountsForwardsWithinTheSecond) {
    EXPECT_EQ(tessel::formatTimestamp(Timestamp(-1ms)), "1969-12-31T23:59:59.999Z");
    EXPECT_EQ(tessel::formatTimestamp(date(0, 1, 1)), "0000-01-01T00:00:00.000Z");
}

TEST(Timestamp, outsideFourDigitYearsIsWrittenSoThatItIsNotReadBack) {
    for (const Timestamp time :
         {date(0, 1, 1) - 1ms, date(9999, 12, 31) + 24h, Timestamp::min(), Timestamp::max()}) {
        EXPECT_EQ(tessel::parseTimestamp(tessel::formatTimestamp(time)), std::nullopt);
    }
    EXPECT_EQ(tessel::formatTimestamp(Timestamp::min()), "-292275055-05-16T16:47:04.192Z");
    EXPECT_EQ(tessel::formatTimestamp(Timestamp::max()), "+292278994-08-17T07:12:55.807Z");
    EXPECT_EQ(tessel::formatTimestamp(date(10000, 1, 1)), "+10000-01-01T00:00:00.000Z");
    EXPECT_EQ(tessel::formatTimestamp(date(-1, 12, 31)), "-0001-12-31T00:00:00.000Z");
}

TEST(Timestamp, agreesWithTheStandardLibrarysCalendarOnEveryDay) {
    for (auto day = sys_days(std::chrono::year(0) / 1 / 1);
         day <= sys_days(std::chrono::year(9999) / 12 / 31); day += std::chrono::days(1)) {
        const std::chrono::year_month_day expected(day);
        const auto fields = tessel::calendarTime(day);
        ASSERT_EQ(fields.year, static_cast<int>(expected.year()));
        ASSERT_EQ(fields.month, static_cast<unsigned>(expected.month()));
        ASSERT_EQ(fields.day, static_cast<unsigned>(expected.day()));
    }
}

TEST(Timestamp, isReadBackAsItWasWritten) {
    std::mt19937_64 random(1);
    std::uniform_int_distribution<std::int64_t> any(
        date(0, 1, 1).time_since_epoch().count(),
        (date(9999, 12, 31) + 24h - 1ms).time_since_epoch().count());
    for (int round = 0; round < 20'000; ++round) {
        const Timestamp time{milliseconds(any(random))};
        ASSERT_EQ(tessel::parseTimestamp(tessel::formatTimestamp(time)), time);
        ASSERT_EQ(tessel::parseInternetDateTime(tessel::formatTimestamp(time)), time);
        ASSERT_EQ(tessel::parseTimestamp(tessel::formatTimestampWithoutFraction(time)),
                  std::chrono::floor<std::chrono::seconds>(time));
    }
}

TEST(Timestamp, isReadWithOneToNineFractionalDigits) {
    const auto whole = date(2026, 2, 28) + 1h;
    EXPECT_EQ(tessel::parseTimestamp("2026-02-28T01:00:00Z"), whole);
    EXPECT_EQ(tessel::parseTimestamp("2026-02-28T01:00:00.5Z"), whole + 500ms);
    EXPECT_EQ(tessel::parseTimestamp("2026-02-28T01:00:00.05Z"), whole + 50ms);
    EXPECT_EQ(tessel::parseTimestamp("2026-02-28T01:00:00.0019Z"), whole + 1ms);
    EXPECT_EQ(tessel::parseTimestamp("2026-02-28T01:00:00.123456789Z"), whole + 123ms);
    EXPECT_EQ(tessel::parseTimestamp("2026-02-28T01:00:00.1234567890Z"), std::nullopt);
    EXPECT_EQ(tessel::parseTimestamp("2026-02-28T01:00:00.Z"), std::nullopt);
}

TEST(Timestamp, knowsTheLeapDays) {
    EXPECT_TRUE(tessel::parseTimestamp("2024-02-29T00:00:00Z"));
    EXPECT_TRUE(tessel::parseTimestamp("2000-02-29T00:00:00Z"));
    EXPECT_TRUE(tessel::parseTimestamp("0000-02-29T00:00:00Z"));
    EXPECT_FALSE(tessel::parseTimestamp("2026-02-29T00:00:00Z"));
    EXPECT_FALSE(tessel::parseTimestamp("2026-02-30T00:00:00Z"));
    EXPECT_FALSE(tessel::parseTimestamp("1900-02-29T00:00:00Z"));
}

TEST(Timestamp, thatIsNoDateIsRefused) {
    for (const std::string_view text : {"",
                                        "2026",
                                        "2026-13-01T00:00:00Z",
                                        "2026-00-01T00:00:00Z",
                                        "2026-01-00T00:00:00Z",
                                        "2026-04-31T00:00:00Z",
                                        "2026-01-01T24:00:00Z",
                                        "2026-01-01T00:60:00Z",
                                        "2026-01-01T00:00:60Z",
                                        "2016-12-31T23:59:60Z",
                                        "2026-01-01T00:00:00z",
                                        "2026-01-01 00:00:00Z",
                                        "2026-01-01t00:00:00Z",
                                        "2026-01-01T00:00:00",
                                        "2026-01-01T00:00:00+00:00",
                                        "2026-01-01T00:00:00ZZ",
                                        "2026-01-01T00:00:00Z ",
                                        " 2026-01-01T00:00:00Z",
                                        "+026-01-01T00:00:00Z",
                                        "2026-1-01T00:00:00Z",
                                        "2026-01-01T00:00:00,5Z",
                                        "2026-01-01T00:00:00.-5Z",
                                        "12026-01-01T00:00:00Z"}) {
        EXPECT_EQ(tessel::parseTimestamp(text), std::nullopt) << text;
    }
}

TEST(InternetDateTime, isReadWithAnOffset) {
    const auto noon = date(2026, 3, 1) + 12h;
    EXPECT_EQ(tessel::parseInternetDateTime("2026-03-01T12:00:00Z"), noon);
    EXPECT_EQ(tessel::parseInternetDateTime("2026-03-01t12:00:00z"), noon);
    EXPECT_EQ(tessel::parseInternetDateTime("2026-03-01T17:30:00+05:30"), noon);
    EXPECT_EQ(tessel::parseInternetDateTime("2026-02-28T13:00:00-23:00"), noon);
    EXPECT_EQ(tessel::parseInternetDateTime("2026-03-01T12:00:00-00:00"), noon);
    EXPECT_EQ(tessel::parseInternetDateTime("2026-03-01T12:00:00.25000000000000+00:00"),
              noon + 250ms);
}

TEST(InternetDateTime, thatIsNoneIsRefused) {
    for (const std::string_view text :
         {"", "2026-03-01T12:00:00", "2026-03-01T12:00:00+0530", "2026-03-01T12:00:00+24:00",
          "2026-03-01T12:00:00+05:60", "2026-03-01T12:00:00.Z", "2026-03-01T12:00:00.+01:00",
          "2026-03-01 12:00:00Z", "2026-03-01T12:00:00Z+01:00", "2026-03-01T23:59:60Z",
          "0000-01-01T00:00:00+00:01", "9999-12-31T23:59:59-00:01"}) {
        EXPECT_EQ(tessel::parseInternetDateTime(text), std::nullopt) << text;
    }
}

} // namespace
