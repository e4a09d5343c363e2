#include "ostrad/Naming.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace ostrad {
namespace {

TEST(SortKey, ordersTitlesAsPeopleExpect) {
    const std::vector<std::string> expected{"2 Fast",     "10 Things",  "abba", "Chapter 2",
                                            "Chapter 10", "The Matrix", "Zebra"};
    std::vector<std::string> titles(expected.rbegin(), expected.rend());
    std::ranges::sort(titles, {}, sortKey);
    EXPECT_EQ(titles, expected);
}

TEST(SortKey, comparesNumbersOfAnyLengthByValue) {
    EXPECT_LT(sortKey("9"), sortKey("10"));
    EXPECT_EQ(sortKey("007"), sortKey("7"));
    EXPECT_EQ(sortKey("000"), sortKey("0"));
    EXPECT_LT(sortKey("99999999999999999998"), sortKey("99999999999999999999"));
}

TEST(SortKey, keepsATitleThatIsOnlyAnArticle) {
    EXPECT_EQ(sortKey("The"), "the");
    EXPECT_EQ(sortKey(""), "");
}

TEST(ValidUtf8, keepsWhatIsValidAndReplacesWhatIsNot) {
    EXPECT_EQ(validUtf8("déjà 映画 🎬"), "déjà 映画 🎬");
    EXPECT_EQ(validUtf8("a\xFF"
                        "b"),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(validUtf8("\xC3"), "\xEF\xBF\xBD");
    EXPECT_EQ(validUtf8("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");             // overlong
    EXPECT_EQ(validUtf8("\xED\xA0\x80").find("\xED"), std::string::npos);     // surrogate
    EXPECT_EQ(validUtf8("\xF5\x80\x80\x80").find("\xF5"), std::string::npos); // too large
}

struct FilmCase {
    const char* stem;
    TitleYear expected;
};
void PrintTo(const FilmCase& which, std::ostream* out) {
    *out << which.stem;
}
class FilmName : public testing::TestWithParam<FilmCase> {};

TEST_P(FilmName, saysTitleAndYear) {
    EXPECT_EQ(parseTitleYear(GetParam().stem), GetParam().expected) << GetParam().stem;
}

INSTANTIATE_TEST_SUITE_P(
    Naming, FilmName,
    testing::Values(FilmCase{"The Glass Garden (2021)", {"The Glass Garden", 2021}},
                    FilmCase{"Northbound [2017]", {"Northbound", 2017}},
                    FilmCase{"The.Glass.Garden.2021.1080p.BluRay.x264-GRP",
                             {"The Glass Garden", 2021}},
                    FilmCase{"Glass_Garden_2021_720p", {"Glass Garden", 2021}},
                    FilmCase{"Year.2049.2017.2160p", {"Year 2049", 2017}},
                    FilmCase{"Summer of 1984", {"Summer of 1984", {}}},
                    FilmCase{"1917", {"1917", {}}}, FilmCase{"1917 (2019)", {"1917", 2019}},
                    FilmCase{"(2019)", {"(2019)", {}}}, FilmCase{"Plain", {"Plain", {}}},
                    FilmCase{"Some Film 1080p", {"Some Film", {}}},
                    FilmCase{"1080p", {"1080p", {}}}, FilmCase{"", {"", {}}}));

struct EpisodeCase {
    const char* stem;
    EpisodeName expected;
};
void PrintTo(const EpisodeCase& which, std::ostream* out) {
    *out << which.stem;
}
class EpisodeFileName : public testing::TestWithParam<EpisodeCase> {};

TEST_P(EpisodeFileName, saysShowSeasonEpisodeAndTitle) {
    EXPECT_EQ(parseEpisode(GetParam().stem), GetParam().expected) << GetParam().stem;
}

INSTANTIATE_TEST_SUITE_P(
    Naming, EpisodeFileName,
    testing::Values(EpisodeCase{"Harbour Lights - S01E02 - The Pier",
                                {"Harbour Lights", 1, 2, "The Pier"}},
                    EpisodeCase{"harbour.lights.s01e02.the.pier.720p.hdtv",
                                {"harbour lights", 1, 2, "the pier"}},
                    EpisodeCase{"S2E10", {"", 2, 10, ""}},
                    EpisodeCase{"1x02 Pier", {"", 1, 2, "Pier"}},
                    EpisodeCase{"Show S01 E03", {"Show", 1, 3, ""}},
                    EpisodeCase{"Show S01E01E02 Double", {"Show", 1, 1, "Double"}},
                    EpisodeCase{"Show S01E01-E02", {"Show", 1, 1, ""}},
                    EpisodeCase{"Show (2008) - S03E04", {"Show", 3, 4, ""}},
                    EpisodeCase{"Show S2021E05", {"Show", 2021, 5, ""}},
                    EpisodeCase{"A Quiet Documentary", {"", {}, {}, "A Quiet Documentary"}},
                    EpisodeCase{"Film 1920x1080", {"", {}, {}, "Film 1920x1080"}}));

TEST(SeasonFolder, isKnownByItsName) {
    EXPECT_EQ(parseSeasonFolder("Season 3"), 3);
    EXPECT_EQ(parseSeasonFolder("season 03"), 3);
    EXPECT_EQ(parseSeasonFolder("S3"), 3);
    EXPECT_EQ(parseSeasonFolder("Series 2"), 2);
    EXPECT_EQ(parseSeasonFolder("Specials"), 0);
    EXPECT_EQ(parseSeasonFolder("Seasons greetings"), std::nullopt);
    EXPECT_EQ(parseSeasonFolder("Extras"), std::nullopt);
}

TEST(DiscFolder, isKnownByItsName) {
    EXPECT_EQ(parseDiscFolder("CD1"), 1);
    EXPECT_EQ(parseDiscFolder("Disc 2"), 2);
    EXPECT_EQ(parseDiscFolder("disk_3"), 3);
    EXPECT_EQ(parseDiscFolder("Discovery"), std::nullopt);
    EXPECT_EQ(parseDiscFolder("CD"), std::nullopt);
}

struct TrackCase {
    const char* stem;
    NumberedTitle expected;
};
void PrintTo(const TrackCase& which, std::ostream* out) {
    *out << which.stem;
}
class TrackFileName : public testing::TestWithParam<TrackCase> {};

TEST_P(TrackFileName, saysNumberAndTitle) {
    EXPECT_EQ(parseTrack(GetParam().stem), GetParam().expected) << GetParam().stem;
}

INSTANTIATE_TEST_SUITE_P(Naming, TrackFileName,
                         testing::Values(TrackCase{"01 - Harbour", {{}, 1, "Harbour"}},
                                         TrackCase{"07. Home by Nine", {{}, 7, "Home by Nine"}},
                                         TrackCase{"03 Lanterns", {{}, 3, "Lanterns"}},
                                         TrackCase{"2-05 Slack Water", {2, 5, "Slack Water"}},
                                         TrackCase{"12 - 99 Ways", {{}, 12, "99 Ways"}},
                                         TrackCase{"99 Balloons", {{}, {}, "99 Balloons"}},
                                         TrackCase{"1979", {{}, {}, "1979"}},
                                         TrackCase{"3am", {{}, {}, "3am"}},
                                         TrackCase{"01_low_tide", {{}, 1, "low tide"}},
                                         TrackCase{"07", {{}, {}, "07"}}));

TEST(IssueName, keepsTheNumberOutOfTheTitle) {
    EXPECT_EQ(parseIssue("Driftwood 012 (2014)"), (NumberedTitle{{}, 12, "Driftwood"}));
    EXPECT_EQ(parseIssue("Driftwood #3"), (NumberedTitle{{}, 3, "Driftwood"}));
    EXPECT_EQ(parseIssue("Driftwood"), (NumberedTitle{{}, {}, "Driftwood"}));
    EXPECT_EQ(parseIssue("300"), (NumberedTitle{{}, {}, "300"}));
}

TEST(CleanTitle, dropsTagsAndStandInsForSpaces) {
    EXPECT_EQ(cleanTitle("Sky_Racer (Europe) [!]"), "Sky Racer");
    EXPECT_EQ(cleanTitle("A.B.C"), "A B C");
    EXPECT_EQ(cleanTitle("Dr. Who"), "Dr. Who");
    EXPECT_EQ(cleanTitle("(all)"), "(all)");
    EXPECT_EQ(cleanTitle("open ( never closed"), "open");
}

TEST(Naming, survivesEveryShortByteString) {
    for (int first = 1; first < 256; ++first) {
        for (const char* tail : {"", "1", "(", ")", "e1", "x01", " 0", "-", ".", "\xC3"}) {
            const std::string stem = std::string(1, static_cast<char>(first)) + tail;
            for (const std::string& title :
                 {parseTitleYear(stem).title, parseEpisode(stem).title, parseTrack(stem).title,
                  parseIssue(stem).title, cleanTitle(stem)}) {
                EXPECT_EQ(validUtf8(title), title);
            }
        }
    }
}

} // namespace
} // namespace ostrad
