#include "ostrad/Placement.h"

#include <gtest/gtest.h>

namespace ostrad {
namespace {

// "type=title > type=title", from the widest group to the item.
std::string placed(std::string_view mode, std::string_view path, const MediaTags& tags = {}) {
    const auto placement = placeFile(*findMode(mode), path, tags);
    if (!placement) {
        return "";
    }
    std::string text;
    for (const Node& group : placement->groups) {
        text += std::string(group.type) + "=" + group.title + " > ";
    }
    return text + std::string(placement->item.type) + "=" + placement->item.title;
}

struct Case {
    const char* mode;
    const char* path;
    const char* expected;
};
void PrintTo(const Case& which, std::ostream* out) {
    *out << which.path;
}
class FilePlace : public testing::TestWithParam<Case> {};

TEST_P(FilePlace, followsFromThePath) {
    EXPECT_EQ(placed(GetParam().mode, GetParam().path), GetParam().expected) << GetParam().path;
}

INSTANTIATE_TEST_SUITE_P(
    Placement, FilePlace,
    testing::Values(
        Case{"music", "The Quiet Hours/Low Tide (2019)/01 - Harbour.mp3",
             "music.artist=The Quiet Hours > music.album=Low Tide > music.track=Harbour"},
        Case{"music", "A/B/CD2/03 - C.flac", "music.artist=A > music.album=B > music.track=C"},
        Case{"music", "A/song.OGG", "music.artist=A > music.track=song"},
        Case{"music", "song.opus", "music.track=song"}, Case{"music", "A/B/cover.jpg", ""},
        Case{"music", "A/B/mp3", ""}, Case{"music", "A/.mp3", ""},
        Case{"tv", "Harbour Lights/Season 1/Harbour Lights - S01E02 - Pier.mkv",
             "tv.show=Harbour Lights > tv.season=Season 1 > tv.episode=Pier"},
        Case{"tv", "Harbour Lights/Specials/Making Of.mp4",
             "tv.show=Harbour Lights > tv.season=Specials > tv.episode=Making Of"},
        Case{"tv", "Harbour Lights/S02E03.mkv",
             "tv.show=Harbour Lights > tv.season=Season 2 > tv.episode=Episode 3"},
        Case{"tv", "Harbour.Lights.S01E01.720p.mkv",
             "tv.show=Harbour Lights > tv.season=Season 1 > tv.episode=Episode 1"},
        Case{"tv", "loose.mkv", "tv.show=Other > tv.episode=loose"},
        Case{"movies", "The Glass Garden (2021).mkv", "movies.movie=The Glass Garden"},
        Case{"movies", "The Glass Garden (2021)/disc.mkv", "movies.movie=The Glass Garden"},
        Case{"movies", "plain folder/Northbound.mkv", "movies.movie=Northbound"},
        Case{"movies", "The Glass Garden (2021)/The Glass Garden-trailer.mkv", ""},
        Case{"movies", "The Glass Garden (2021)/Featurettes/Sets.mkv", ""},
        Case{"podcasts", "Night Desk/01 - Ink.mp3",
             "podcasts.podcast=Night Desk > podcasts.episode=Ink"},
        Case{"podcasts", "ink.mp3", "podcasts.episode=ink"},
        Case{"audiobooks", "Ada Lorne/The Long Ferry/01 - Fog.mp3",
             "audiobooks.author=Ada Lorne > audiobooks.book=The Long Ferry > "
             "audiobooks.chapter=Fog"},
        Case{"audiobooks", "The Long Ferry/01 - Fog.mp3",
             "audiobooks.book=The Long Ferry > audiobooks.chapter=Fog"},
        Case{"audiobooks", "Ada Lorne/The Long Ferry.m4b",
             "audiobooks.author=Ada Lorne > audiobooks.book=The Long Ferry"},
        Case{"audiobooks", "The Long Ferry.mp3", "audiobooks.book=The Long Ferry"},
        Case{"comics", "Driftwood/Driftwood 001 (2014).cbz",
             "comics.series=Driftwood > comics.issue=Driftwood #1"},
        Case{"comics", "Driftwood 7.pdf", "comics.series=Driftwood > comics.issue=Driftwood #7"},
        Case{"comics", "Alone.epub", "comics.issue=Alone"},
        Case{"games", "snes/Sky Racer (Europe).sfc", "games.platform=snes > games.game=Sky Racer"},
        Case{"games", "Sky Racer.gba", "games.platform=Game Boy Advance > games.game=Sky Racer"}));

TEST(Placement, prefersTheTagsOfMusicToItsPath) {
    const MediaTags tags{.title = "Harbour",
                         .artist = "Guest",
                         .albumArtist = "The Quiet Hours",
                         .album = "Low Tide",
                         .disc = 2,
                         .track = 3,
                         .year = 2019};
    EXPECT_EQ(placed("music", "a/b/c.mp3", tags),
              "music.artist=The Quiet Hours > music.album=Low Tide > music.track=Harbour");
    const auto placement = placeFile(*findMode("music"), "a/b/c.mp3", tags);
    EXPECT_EQ(placement->item.number, 3);
    EXPECT_EQ(placement->groups[1].year, 2019);
}

TEST(Placement, putsNamesThatDifferInCaseIntoOneGroup) {
    const auto one = placeFile(*findMode("music"), "The Quiet Hours/Low Tide/1.mp3");
    const auto two = placeFile(*findMode("music"), "the quiet hours/LOW TIDE/2.mp3");
    EXPECT_EQ(one->groups[1].key, two->groups[1].key);
}

TEST(Placement, tellsShowsOfOneNameApartByTheirYear) {
    const auto older = placeFile(*findMode("tv"), "Harbour (1978)/S01E01.mkv");
    const auto newer = placeFile(*findMode("tv"), "Harbour (2003)/S01E01.mkv");
    EXPECT_NE(older->groups[0].key, newer->groups[0].key);
}

TEST(Placement, ordersItemsByDiscThenNumberThenTitle) {
    const auto key = [](std::string_view path) {
        return placeFile(*findMode("music"), path)->item.sort;
    };
    EXPECT_LT(key("A/B/CD1/10 - z.mp3"), key("A/B/CD2/02 - a.mp3"));
    EXPECT_LT(key("A/B/02 - z.mp3"), key("A/B/10 - a.mp3"));
    EXPECT_LT(key("A/B/10 - a.mp3"), key("A/B/unnumbered.mp3"));
}

TEST(Placement, givesEveryModeTheTypesItDeclares) {
    for (const Mode& mode : modes()) {
        EXPECT_NE(findEntityType(mode.itemType), nullptr) << mode.id;
        for (const FileKind& kind : mode.files) {
            const auto placement =
                placeFile(mode, "One/Two/03 - Three." + std::string(kind.extension));
            ASSERT_TRUE(placement) << mode.id << kind.extension;
            EXPECT_TRUE(placement->item.type.starts_with(mode.id));
            EXPECT_NE(findEntityType(placement->item.type), nullptr);
            for (const Node& group : placement->groups) {
                EXPECT_NE(findEntityType(group.type), nullptr);
            }
        }
    }
}

TEST(Placement, acceptsNamesThatAreNotUtf8) {
    EXPECT_EQ(placed("movies", "caf\xE9.mkv"), "movies.movie=caf\xEF\xBF\xBD");
}

} // namespace
} // namespace ostrad
