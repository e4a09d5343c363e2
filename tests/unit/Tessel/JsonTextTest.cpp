#include "mac/Tessel/Json/JsonText.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

namespace {

using boost::json::array;
using boost::json::object;
using boost::json::value;

std::string compact(const value& some) {
    return tessel::compactJsonText(some).value_or("(none)");
}

TEST(JsonText, sortsKeysByTheirBytes) {
    EXPECT_EQ(compact(object{{"b", 1}, {"a", 2}, {"B", 3}, {"\u00e9", 4}, {"a.b", 5}, {"", 6}}),
              "{\"\":6,\"B\":3,\"a\":2,\"a.b\":5,\"b\":1,\"\u00e9\":4}");
}

TEST(JsonText, isIndentedByTwoSpacesALevelWhenPretty) {
    const value some = object{{"list", array{1, object{{"x", nullptr}}}},
                              {"empty", object{}},
                              {"none", array{}},
                              {"yes", true}};
    EXPECT_EQ(tessel::prettyJsonText(some), R"({
  "empty": {},
  "list": [
    1,
    {
      "x": null
    }
  ],
  "none": [],
  "yes": true
})");
    EXPECT_EQ(compact(some), R"({"empty":{},"list":[1,{"x":null}],"none":[],"yes":true})");
}

TEST(JsonText, escapesOnlyWhatMustBe) {
    EXPECT_EQ(compact(value("a\"b\\c/\u00fc\U0001F600")), "\"a\\\"b\\\\c/\u00fc\U0001F600\"");
    EXPECT_EQ(compact(value(std::string("\b\f\n\r\t\x01\x1f\x7f", 8) + std::string(1, '\0'))),
              "\"\\b\\f\\n\\r\\t\\u0001\\u001f\x7f\\u0000\"");
}

TEST(JsonText, writesWholeDoublesWithoutAFraction) {
    EXPECT_EQ(compact(value(0.0)), "0");
    EXPECT_EQ(compact(value(-5.0)), "-5");
    EXPECT_EQ(compact(value(1e12)), "1000000000000");
    EXPECT_EQ(compact(value(9'007'199'254'740'992.0)), "9007199254740992");
    EXPECT_EQ(compact(value(-9'007'199'254'740'992.0)), "-9007199254740992");
    EXPECT_EQ(compact(value(-0.0)), "-0");
}

TEST(JsonText, writesOtherDoublesWithTheFewestDigits) {
    EXPECT_EQ(compact(value(0.1)), "0.1");
    EXPECT_EQ(compact(value(1.5)), "1.5");
    EXPECT_EQ(compact(value(1e300)), "1e+300");
    EXPECT_EQ(compact(value(5e-324)), "5e-324");
    EXPECT_EQ(compact(value(0.1 + 0.2)), "0.30000000000000004");
}

TEST(JsonText, writesIntegersExactly) {
    EXPECT_EQ(compact(value(std::numeric_limits<std::int64_t>::min())), "-9223372036854775808");
    EXPECT_EQ(compact(value(std::numeric_limits<std::uint64_t>::max())), "18446744073709551615");
}

TEST(JsonText, readsBackAsTheSameDouble) {
    std::mt19937_64 random(2);
    for (int round = 0; round < 20'000; ++round) {
        const auto number = std::bit_cast<double>(random());
        if (std::isfinite(number)) {
            ASSERT_EQ(std::strtod(compact(number).c_str(), nullptr), number);
        }
    }
}

TEST(JsonText, isAbsentForWhatJsonCannotSay) {
    EXPECT_FALSE(tessel::compactJsonText(array{1, std::numeric_limits<double>::quiet_NaN()}));
    EXPECT_FALSE(tessel::prettyJsonText(object{{"x", std::numeric_limits<double>::infinity()}}));
    EXPECT_FALSE(tessel::compactJsonText(value("\xff")));
    EXPECT_FALSE(tessel::compactJsonText(object{{"\xc3", 1}}));
}

} // namespace
