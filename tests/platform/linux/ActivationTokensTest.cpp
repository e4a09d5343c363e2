#include "platform/linux/ActivationTokens.h"

#include <gtest/gtest.h>

namespace platform::desktop {
namespace {

TEST(ActivationTokens, areUsedOnceAndTheLastOneCounts) {
    ActivationTokens tokens;
    EXPECT_EQ(tokens.take(), "");
    tokens.give("first");
    tokens.give("second");
    EXPECT_EQ(tokens.take(), "second");
    EXPECT_EQ(tokens.take(), "");
}

TEST(ActivationTokens, areSingleWords) {
    for (const std::string& wrong :
         {std::string("two words"), std::string("line\nfeed"), std::string("nul\0", 4),
          std::string("\x7f"), std::string("\xc3\xa4"), std::string(1025, 'a')}) {
        ActivationTokens tokens;
        tokens.give("right");
        tokens.give(wrong);
        EXPECT_EQ(tokens.take(), "") << wrong;
    }
}

} // namespace
} // namespace platform::desktop
