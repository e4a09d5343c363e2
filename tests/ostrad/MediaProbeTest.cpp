#include "ostrad/MediaProbe.h"

#include <gtest/gtest.h>

namespace ostrad {
namespace {

TEST(MediaProbe, readsDurationAndTags) {
    const auto facts = parseProbe(R"({"format":{"duration":"12.3456","tags":{"TITLE":"T",
        "artist":"A","album_artist":"AA","ALBUM":"B","track":"3/12","disc":"2","date":"2004-05"}}})");
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->durationMs, 12346);
    EXPECT_EQ(facts->tags.title, "T");
    EXPECT_EQ(facts->tags.artist, "A");
    EXPECT_EQ(facts->tags.albumArtist, "AA");
    EXPECT_EQ(facts->tags.album, "B");
    EXPECT_EQ(facts->tags.track, 3);
    EXPECT_EQ(facts->tags.disc, 2);
    EXPECT_EQ(facts->tags.year, 2004);
}

TEST(MediaProbe, findsTheTagsThatAStreamCarries) {
    const auto facts = parseProbe(
        R"({"streams":[{"tags":{"title":"S","artist":"A"}}],"format":{"tags":{"title":"F"}}})");
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->tags.title, "F");
    EXPECT_EQ(facts->tags.artist, "A");
    EXPECT_EQ(facts->durationMs, std::nullopt);
}

TEST(MediaProbe, ignoresValuesThatMakeNoSense) {
    for (const char* duration :
         {"\"N/A\"", "\"-1\"", "\"1e300\"", "\"nan\"", "\"inf\"", "5", "\"\""}) {
        const auto facts = parseProbe(std::string(R"({"format":{"duration":)") + duration + "}}");
        ASSERT_TRUE(facts) << duration;
        EXPECT_EQ(facts->durationMs, std::nullopt) << duration;
    }
    const auto facts = parseProbe(R"({"format":{"tags":{"title":7,"track":"-2","date":"soon",
        "disc":"99999999999","album":")" +
                                  std::string(501, 'x') + R"("}}})");
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->tags.title, "");
    EXPECT_EQ(facts->tags.track, std::nullopt);
    EXPECT_EQ(facts->tags.year, std::nullopt);
    EXPECT_EQ(facts->tags.disc, std::nullopt);
    EXPECT_EQ(facts->tags.album, "");
}

TEST(MediaProbe, refusesWhatIsNotAnAnswer) {
    for (const char* text : {"", "{", "[]", "null", "{}", R"({"format":1})", R"({"format":[]})",
                             "\xFF", R"({"format":{}} x)"}) {
        EXPECT_FALSE(parseProbe(text)) << text;
    }
}

} // namespace
} // namespace ostrad
