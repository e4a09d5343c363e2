// Lines divided for a log that cuts long ones.
#include "platform/cocoa/LogPieces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

namespace {

using platform::cocoa::logPieces;
using testing::ElementsAre;

std::string joined(const std::vector<std::string>& pieces) {
    return std::accumulate(pieces.begin(), pieces.end(), std::string());
}

TEST(LogPieces, leaveALineThatFitsWhole) {
    EXPECT_THAT(logPieces("[child] ", "hello", 13), ElementsAre("[child] hello"));
    EXPECT_THAT(logPieces("", "", 4), ElementsAre(""));
}

TEST(LogPieces, divideALongLineAtTheLimit) {
    EXPECT_THAT(logPieces("12", "34567890", 4), ElementsAre("1234", "5678", "90"));
    EXPECT_THAT(logPieces("", "12345678", 4), ElementsAre("1234", "5678"));
}

TEST(LogPieces, neverDivideACharacter) {
    EXPECT_THAT(logPieces("", "abc\xc3\xbc", 4), ElementsAre("abc", "\xc3\xbc"));
    EXPECT_THAT(logPieces("", "\xf0\x9f\x93\xbb\xf0\x9f\x93\xbb", 7),
                ElementsAre("\xf0\x9f\x93\xbb", "\xf0\x9f\x93\xbb"));
}

TEST(LogPieces, loseNothingOfALineOfAnyLength) {
    std::string line;
    for (int i = 0; i < 3000; ++i) {
        line += i % 3 == 0 ? "a" : i % 3 == 1 ? "\xe2\x82\xac" : "\xf0\x9f\x93\xbb";
    }
    for (std::size_t longest = 4; longest < 40; ++longest) {
        const auto pieces = logPieces("> ", line, longest);
        EXPECT_EQ(joined(pieces), "> " + line) << longest;
        for (const auto& piece : pieces) {
            ASSERT_LE(piece.size(), longest);
            ASSERT_FALSE(piece.empty());
        }
    }
}

TEST(LogPieces, areMadeHarmlessFirst) {
    EXPECT_THAT(logPieces("\x1b", std::string("a\n\0\xff", 4), 100),
                ElementsAre("\\x1ba\\x0a\\x00\\xff"));
}

} // namespace
