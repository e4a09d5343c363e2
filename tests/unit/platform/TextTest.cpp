#include "platform/Text.h"

#include "platform/Utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace platform {
namespace {

using namespace std::string_view_literals;

using Pairs = std::vector<std::pair<std::string_view, std::string_view>>;

constexpr std::string_view family = "👨\u200D👩\u200D👧\u200D👦";

TEST(Text, mapsToUpperCaseWithTheFullMapping) {
    const Pairs cases{{"Zorvane", "ZORVANE"},
                      {"straße", "STRASSE"},
                      {"ŉ", "ʼN"},
                      {"ﬃ", "FFI"},
                      {"İi", "İI"},
                      {"ı", "I"},
                      {"ὀδυσσεύς", "ὈΔΥΣΣΕΎΣ"},
                      {"e\u0301", "E\u0301"},
                      {"𐐨", "𐐀"},
                      {"日本 7", "日本 7"},
                      {"", ""}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(upperCased(text), expected);
    }
}

TEST(Text, mapsToLowerCaseWithTheFullMapping) {
    const Pairs cases{
        {"Zorvane", "zorvane"},   {"STRASSE", "strasse"}, {"İ", "i\u0307"}, {"I", "i"},
        {"ΟΔΟΣ ΣΑΣ", "οδος σας"}, {"ÉPISODE", "épisode"}, {"𐐀", "𐐨"},       {"", ""}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(lowerCased(text), expected);
    }
}

TEST(Text, countsWhatAUserTakesForOneCharacter) {
    const std::vector<std::pair<std::string_view, std::size_t>> cases{
        {"", 0},       {"abc", 3},    {"é", 1},        {"e\u0301\u0323", 1},
        {"\u0301", 1}, {family, 1},   {"👍🏽", 1},     {"🏳\uFE0F\u200D🌈", 1},
        {"🇩🇪🇫🇷", 2},   {"🇩🇪🇫", 2},    {"각", 1},       {"\u1100\u1161\u11A8", 1},
        {"நி", 1},     {"\r\n", 1},   {"\r\n\r\n", 2}, {"\n\r", 2},
        {"a\r\nb", 3}, {"\0\0"sv, 2}, {"日本語", 3},   {"1\uFE0F\u20E3", 1},
    };
    for (const auto& [text, count] : cases) {
        EXPECT_EQ(characterCount(text), count) << text;
    }
}

TEST(Text, cutsBetweenCharactersOnly) {
    const std::string mixed = "a" + std::string(family) + "e\u0301\r\n🇩🇪z";
    EXPECT_EQ(characterPrefix(mixed, 0), "");
    EXPECT_EQ(characterPrefix(mixed, 1), "a");
    EXPECT_EQ(characterPrefix(mixed, 2), "a" + std::string(family));
    EXPECT_EQ(characterPrefix(mixed, 3), "a" + std::string(family) + "e\u0301");
    EXPECT_EQ(characterPrefix(mixed, 4), "a" + std::string(family) + "e\u0301\r\n");
    EXPECT_EQ(characterPrefix(mixed, 5), "a" + std::string(family) + "e\u0301\r\n🇩🇪");
    EXPECT_EQ(characterPrefix(mixed, 6), mixed);
    EXPECT_EQ(characterPrefix(mixed, 7), mixed);
    EXPECT_EQ(characterPrefix("", 3), "");
}

TEST(Text, replacesEachCharacterThatIsNeitherLetterNorNumber) {
    const Pairs cases{{"ZORVANE", "ZORVANE"},
                      {"MY APP (2)", "MY_APP__2_"},
                      {"É\u0301E\u0301", "É\u0301E\u0301"},
                      {"日本٣४Ⅷ½", "日本٣४Ⅷ½"},
                      {family, "_"},
                      {"🇩🇪!", "__"},
                      {"A\r\nB", "A_B"},
                      {"_-.", "___"},
                      {"\u0301", "_"},
                      {"\0"sv, "_"},
                      {"𐐀𝟠", "𐐀𝟠"},
                      {"", ""}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(replacingNonAlphanumerics(text, '_'), expected);
    }
}

TEST(Text, readsBytesThatAreNotUtf8AsReplacementCharacters) {
    EXPECT_EQ(upperCased("a\xFFz"), "A\uFFFDZ");
    EXPECT_EQ(lowerCased("A\xE2\x82"), "a\uFFFD");
    EXPECT_EQ(characterCount("a\xFF\xFFz"), 4U);
    EXPECT_EQ(characterPrefix("\xF0\x9F\x91z", 1), "\uFFFD");
    EXPECT_EQ(replacingNonAlphanumerics("a\xC0\xAFz", '_'), "a__z");
}

TEST(Text, survivesEveryPairOfBytes) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; second += 3) {
            const std::string text{static_cast<char>(first), static_cast<char>(second)};
            EXPECT_TRUE(isValidUtf8(upperCased(text)));
            EXPECT_TRUE(isValidUtf8(lowerCased(text)));
            EXPECT_TRUE(isValidUtf8(characterPrefix(text, 1)));
            EXPECT_LE(characterCount(text), 2U);
        }
    }
}

TEST(Text, countsALongTextWithoutCopyingItForEachCharacter) {
    std::string text;
    for (int i = 0; i < 100'000; ++i) {
        text += family;
    }
    EXPECT_EQ(characterCount(text), 100'000U);
}

} // namespace
} // namespace platform
