#include "platform/Utf8.h"

#include <gtest/gtest.h>

#include <string_view>

namespace platform {
namespace {

using namespace std::string_view_literals;

TEST(Utf8, acceptsWellFormedTextOnly) {
    for (const std::string_view good :
         {""sv, "plain ascii, longer than eight"sv, "é"sv, "\u07FF"sv, "\u0800"sv, "\uD7FF"sv,
          "\uE000"sv, "\uFFFF"sv, "\U00010000"sv, "\U0010FFFF"sv, "12345678é12345678"sv, "\0"sv}) {
        EXPECT_TRUE(isValidUtf8(good)) << good;
    }
    for (const std::string_view bad :
         {"\x80"sv, "\xBF"sv, "\xC0\x80"sv, "\xC1\xBF"sv, "\xC3"sv, "\xC3("sv, "\xE0\x80\x80"sv,
          "\xE0\x9F\xBF"sv, "\xE2\x82"sv, "\xED\xA0\x80"sv, "\xED\xBF\xBF"sv, "\xF0\x80\x80\x80"sv,
          "\xF0\x8F\xBF\xBF"sv, "\xF4\x90\x80\x80"sv, "\xF5\x80\x80\x80"sv, "\xFF"sv,
          "12345678\x80"sv,
          "1234567\x80"
          "12345678"sv,
          "\xF0\x9F\x93"sv}) {
        EXPECT_FALSE(isValidUtf8(bad));
    }
}

TEST(Utf8, putsOneReplacementCharacterForEachBrokenSequence) {
    EXPECT_EQ(wellFormedUtf8(""), "");
    EXPECT_EQ(wellFormedUtf8("caf\u00E9 \U0001F4FB"), "caf\u00E9 \U0001F4FB");
    EXPECT_EQ(wellFormedUtf8("a\x80z"), "a\uFFFDz");
    EXPECT_EQ(wellFormedUtf8("\xF0\x9F\x93!"), "\uFFFD!");
    EXPECT_EQ(wellFormedUtf8("\xF0\x9F\x93"), "\uFFFD");
    EXPECT_EQ(wellFormedUtf8("\xC0\xAF"), "\uFFFD\uFFFD");
    EXPECT_EQ(wellFormedUtf8("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD"); // a surrogate
    EXPECT_EQ(wellFormedUtf8("\xE2\x82\xC3\xA9"), "\uFFFD\u00E9");
    EXPECT_EQ(wellFormedUtf8("\xF5\x80\xFF"), "\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(wellFormedUtf8("\0"sv), "\0"sv);
}

TEST(Utf8, trimsAroundBytesThatAreNotUtf8) {
    EXPECT_EQ(trimmed(" \x80\xC2 "), "\x80\xC2");
    EXPECT_EQ(trimmed("\x85"), "\x85"); // the last byte alone of a white space character
}

TEST(Utf8, trimsWhiteSpaceAndLineEndsAtBothEnds) {
    EXPECT_EQ(trimmed(" \t\r\n1.4.2\n\v\f"), "1.4.2");
    EXPECT_EQ(trimmed("\u00A0\u3000 a b \u2028\u0085"), "a b");
    EXPECT_EQ(trimmed(" \n "), "");
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(trimmed("é"), "é");
}

TEST(Utf8, cutsPrefixesBetweenCharacters) {
    EXPECT_EQ(prefixOfWholeCharacters("abc", 5), "abc");
    EXPECT_EQ(prefixOfWholeCharacters("abc", 2), "ab");
    EXPECT_EQ(prefixOfWholeCharacters("a€b", 3), "a");
    EXPECT_EQ(prefixOfWholeCharacters("a€b", 4), "a€");
    EXPECT_EQ(prefixOfWholeCharacters("€", 0), "");
}

TEST(Utf8, measuresTheFirstCharacter) {
    EXPECT_EQ(utf8CharacterLength("a"), 1U);
    EXPECT_EQ(utf8CharacterLength("é!"), 2U);
    EXPECT_EQ(utf8CharacterLength("€"), 3U);
    EXPECT_EQ(utf8CharacterLength("📻"), 4U);
    EXPECT_EQ(utf8CharacterLength(""), 0U);
    EXPECT_EQ(utf8CharacterLength("\x80"), 0U);
    EXPECT_EQ(utf8CharacterLength("\xE2\x82"), 0U);
}

} // namespace
} // namespace platform
