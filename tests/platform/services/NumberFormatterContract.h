// What a NumberFormatter in the style of the United States promises. Include it in one source file
// of an executable.
#pragma once

#include "platform/NumberFormatter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using NumberFormatterFactory = std::function<std::unique_ptr<platform::NumberFormatter>()>;

class NumberFormatterContract : public testing::TestWithParam<NumberFormatterFactory> {
  protected:
    std::unique_ptr<platform::NumberFormatter> formatter = GetParam()();
};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(NumberFormatterContract);

TEST_P(NumberFormatterContract, groupsThousandsWithCommas) {
    const std::vector<std::pair<std::int64_t, std::string>> cases{
        {0, "0"},
        {7, "7"},
        {-7, "-7"},
        {999, "999"},
        {-999, "-999"},
        {1000, "1,000"},
        {-1000, "-1,000"},
        {12'408, "12,408"},
        {1'000'000, "1,000,000"},
        {std::numeric_limits<std::int64_t>::max(), "9,223,372,036,854,775,807"},
        {std::numeric_limits<std::int64_t>::min(), "-9,223,372,036,854,775,808"},
    };
    for (const auto& [number, text] : cases) {
        EXPECT_EQ(formatter->decimal(number), text);
    }
}
