#include "mac/Tessel/Json/JsonNumber.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>

namespace {

using tessel::JsonNumber;

TEST(JsonNumber, isTheLongestNumberAtTheBeginning) {
    const std::string_view text = "12.5e1,7";
    const auto number = JsonNumber::read(text);
    ASSERT_TRUE(number);
    EXPECT_EQ(number->value, 125);
    EXPECT_EQ(number->end, text.data() + 6);
    EXPECT_EQ(JsonNumber::read("01")->value, 0);
    EXPECT_FALSE(JsonNumber::read("1.x"));
}

TEST(JsonNumber, isRoundedToTheNearestDoubleTiesToEven) {
    EXPECT_EQ(JsonNumber::read("9007199254740993")->value, 9007199254740992.0);
    EXPECT_EQ(JsonNumber::read("9007199254740995")->value, 9007199254740996.0);
    EXPECT_EQ(JsonNumber::read("9007199254740993.00000000000000000001")->value, 9007199254740994.0);
    EXPECT_EQ(JsonNumber::read("2.2250738585072011e-308")->value, 2.2250738585072011e-308);
    EXPECT_EQ(JsonNumber::read("2.4703282292062327e-324")->value, 0);
    EXPECT_EQ(JsonNumber::read("2.4703282292062328e-324")->value, 5e-324);
    EXPECT_EQ(JsonNumber::read("1.7976931348623158e308")->value, 1.7976931348623157e308);
    EXPECT_FALSE(JsonNumber::read("1.7976931348623159e308"));
}

TEST(JsonNumber, readsBackWhatIsWrittenWithTheFewestDigits) {
    std::mt19937_64 random(3);
    for (int round = 0; round < 20'000; ++round) {
        const auto number = std::bit_cast<double>(random());
        if (std::isfinite(number)) {
            const auto text = fmt::format("{}", number);
            ASSERT_EQ(JsonNumber::read(text)->value, number) << text;
            ASSERT_EQ(JsonNumber::readSlowly(text), number) << text;
        }
    }
}

TEST(JsonNumber, isTheSameBothWays) {
    std::mt19937_64 random(4);
    for (int round = 0; round < 20'000; ++round) {
        std::string text = random() % 2 == 0 ? "-" : "";
        text += fmt::format("{}", random() >> random() % 64);
        if (random() % 2 == 0) {
            text += fmt::format(".{:0{}}", random() >> random() % 64, random() % 30);
        }
        if (random() % 2 == 0) {
            text += fmt::format("e{}", static_cast<int>(random() % 700) - 350);
        }
        const auto number = JsonNumber::read(text);
        ASSERT_EQ(number ? std::optional(number->value) : std::nullopt,
                  JsonNumber::readSlowly(text))
            << text;
    }
}

TEST(JsonNumber, keepsTheSignOfZero) {
    for (const std::string_view text : {"-0", "-0.0", "-0e5", "-1e-400"}) {
        EXPECT_TRUE(std::signbit(JsonNumber::read(text)->value)) << text;
        EXPECT_TRUE(std::signbit(*JsonNumber::readSlowly(text))) << text;
    }
}

TEST(JsonNumber, isNoneOfAnotherGrammar) {
    for (const std::string_view text :
         {"", "-", "+1", ".5", "1.", "1e", "1e-", "x", "inf", "nan"}) {
        EXPECT_FALSE(JsonNumber::read(text)) << text;
        EXPECT_FALSE(JsonNumber::readSlowly(text)) << text;
    }
}

TEST(JsonNumber, roundsFractionsOfAnyLengthLikeTheSlowWay) {
    std::mt19937_64 random(6);
    for (int round = 0; round < 50'000; ++round) {
        const std::string digits = fmt::format("{}", random() >> random() % 60);
        const std::size_t point = 1 + random() % digits.size();
        const auto text =
            digits.substr(0, point) + "." + digits.substr(point) + (random() % 2 == 0 ? "5" : "00");
        if (const auto number = JsonNumber::read(text); number && text.front() != '0') {
            ASSERT_EQ(number->value, JsonNumber::readSlowly(text)) << text;
            ASSERT_EQ(number->end, text.data() + text.size()) << text;
        }
    }
}

TEST(JsonNumber, roundsWhatLiesHalfwayBetweenDoublesToEven) {
    // 2^52 + 1/2, + 3/2: exactly between two doubles, and just beside.
    EXPECT_EQ(JsonNumber::read("4503599627370496.5")->value, 4503599627370496.0);
    EXPECT_EQ(JsonNumber::read("4503599627370497.5")->value, 4503599627370498.0);
    EXPECT_EQ(JsonNumber::read("4503599627370496.501")->value, 4503599627370497.0);
    EXPECT_EQ(JsonNumber::read("4503599627370497.499")->value, 4503599627370497.0);
}

} // namespace
