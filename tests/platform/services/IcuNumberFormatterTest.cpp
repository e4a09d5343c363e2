#include "platform/linux/text/IcuNumberFormatter.h"

#include "platform/linux/text/IcuDefault.h"
#include "platform/testing/InMemorySystem.h"
#include "tests/platform/services/NumberFormatterContract.h"

#include <atomic>
#include <cstdlib>
#include <thread>

namespace {

using platform::IcuNumberFormatter;
using platform::numericLocale;

std::unique_ptr<platform::NumberFormatter> icuNumberFormatter() {
    return std::make_unique<IcuNumberFormatter>("en_US.UTF-8");
}
std::unique_ptr<platform::NumberFormatter> fakeNumberFormatter() {
    return std::make_unique<platform::testing::FakeNumberFormatter>();
}

INSTANTIATE_TEST_SUITE_P(Icu, NumberFormatterContract, testing::Values(icuNumberFormatter));
INSTANTIATE_TEST_SUITE_P(Fake, NumberFormatterContract, testing::Values(fakeNumberFormatter));

TEST(IcuNumberFormatter, worksUnderALocaleThatIsNone) {
    for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        EXPECT_EXIT(
            {
                ::unsetenv("LC_ALL");
                ::unsetenv("LC_MESSAGES");
                ::setenv(variable, "no such locale at all", 1);
                const IcuNumberFormatter formatter("no such locale at all");
                std::exit(formatter.decimal(7) == "7" ? 0 : 1);
            },
            testing::ExitedWithCode(0), "")
            << variable;
    }
}

TEST(IcuNumberFormatter, leavesLocalesThatHaveAFormAlone) {
    for (const char* const locale :
         {"", "C", "C.UTF-8", "POSIX", "de_DE.UTF-8@euro", "xx_XX.KOI-8"}) {
        EXPECT_TRUE(platform::icuAccepts(locale)) << locale;
    }
}

TEST(IcuNumberFormatter, writesDigitsAndGroupingAsTheLocaleDoes) {
    struct Case {
        std::string locale;
        std::string millions; // 1234567
        std::string negative; // -12345
    };
    const std::vector<Case> cases{
        {"en_US", "1,234,567", "-12,345"},
        {"en_GB.UTF-8", "1,234,567", "-12,345"},
        {"de_DE.UTF-8", "1.234.567", "-12.345"},
        {"de_DE@euro", "1.234.567", "-12.345"},
        {"de_CH.UTF-8", "1\u2019234\u2019567", "-12\u2019345"},
        {"fr_FR.UTF-8", "1\u202F234\u202F567", "-12\u202F345"},
        {"hi_IN", "12,34,567", "-12,345"},
        {"sv_SE", "1\u00A0234\u00A0567", "\u221212\u00A0345"},
        {"ar_EG.UTF-8", "١٬٢٣٤٬٥٦٧", "\u061C-١٢٬٣٤٥"},
        {"C", "1234567", "-12345"},
        {"C.UTF-8", "1234567", "-12345"},
        {"POSIX", "1234567", "-12345"},
        {"", "1234567", "-12345"},
    };
    for (const Case& each : cases) {
        const IcuNumberFormatter formatter(each.locale);
        EXPECT_EQ(formatter.decimal(1'234'567), each.millions) << each.locale;
        EXPECT_EQ(formatter.decimal(-12'345), each.negative) << each.locale;
    }
}

TEST(IcuNumberFormatter, leavesFourDigitsTogetherWhereTheLocaleDoes) {
    EXPECT_EQ(IcuNumberFormatter("es_ES").decimal(1234), "1234");
    EXPECT_EQ(IcuNumberFormatter("es_ES").decimal(12'345), "12.345");
}

TEST(IcuNumberFormatter, makesSomethingReadableOfALocaleThatNobodyKnows) {
    const std::vector<std::string> locales{"xx_YY", "not a locale", "\xFF\xFE",
                                           "@@@",   "....",         std::string(100'000, 'a')};
    for (const auto& locale : locales) {
        EXPECT_TRUE(IcuNumberFormatter(locale).decimal(42).find("42") != std::string::npos);
    }
}

TEST(IcuNumberFormatter, mayBeAskedByManyThreadsAtOnce) {
    const IcuNumberFormatter formatter("de_DE");
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                right += formatter.decimal(1'234'567) == "1.234.567" ? 1 : 0;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, 800);
}

TEST(NumericLocale, isTheFirstVariableThatIsNotEmpty) {
    EXPECT_EQ(numericLocale({{"LC_ALL", "a"}, {"LC_NUMERIC", "b"}, {"LANG", "c"}}), "a");
    EXPECT_EQ(numericLocale({{"LC_ALL", ""}, {"LC_NUMERIC", "b"}, {"LANG", "c"}}), "b");
    EXPECT_EQ(numericLocale({{"LC_NUMERIC", ""}, {"LANG", "c"}}), "c");
    EXPECT_EQ(numericLocale({{"LC_MESSAGES", "d"}, {"LANGUAGE", "e"}}), "C");
    EXPECT_EQ(numericLocale({{"LANG", ""}}), "C");
}

} // namespace
