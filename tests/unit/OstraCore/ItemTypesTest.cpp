#include "mac/OstraCore/ItemTypes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace ostra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

EntityTypeDTO type(std::string id, std::string name = "thing") {
    return {.id = std::move(id), .name = std::move(name)};
}

EntityTypeDTO person(std::string id) {
    return {.id = std::move(id), .name = "thing", .isPerson = true};
}

std::vector<std::string> counted(std::string_view modeId, const std::vector<EntityTypeDTO>& types) {
    std::vector<std::string> ids;
    for (const EntityTypeDTO& each : countTypes(modeId, types)) {
        ids.push_back(each.id);
    }
    return ids;
}

TEST(CountTypes, knowTheItemsOfKnownModes) {
    struct Case {
        std::string mode;
        std::string item;
    };
    const std::vector<Case> cases{{"audiobooks", "x.book"}, {"comics", "x.issue"},
                                  {"games", "x.game"},      {"movies", "x.movie"},
                                  {"music", "x.track"},     {"podcasts", "x.episode"},
                                  {"tv", "x.episode"}};
    for (const Case& each : cases) {
        std::vector<EntityTypeDTO> types{type("x.thing")};
        for (const Case& other : cases) {
            if (other.item != each.item) {
                types.push_back(type(other.item));
            }
        }
        types.push_back(type(each.item));
        EXPECT_THAT(counted(each.mode, types), ElementsAre(each.item)) << each.mode;
    }
}

TEST(CountTypes, countTracksRatherThanAlbumsOrArtists) {
    EXPECT_THAT(counted("music", {type("music.artist"), type("music.album"), type("music.track")}),
                ElementsAre("music.track"));
}

TEST(CountTypes, countEveryTypeWithAMatchingSuffixInOrder) {
    EXPECT_THAT(counted("tv", {type("tv.show"), type("tv.season"), type("tv.episode"),
                               type("tv.special.episode")}),
                ElementsAre("tv.episode", "tv.special.episode"));
}

TEST(CountTypes, fallBackToAnySuffixOfItemsInAnUnknownMode) {
    EXPECT_THAT(counted("mixed", {type("a.book"), type("a.shelf"), type("a.track"), type("a.game"),
                                  type("a.issue"), type("a.episode"), type("a.movie")}),
                ElementsAre("a.book", "a.track", "a.game", "a.issue", "a.episode", "a.movie"));
}

TEST(CountTypes, compareSuffixesCaseSensitivelyAndWithTheirDot) {
    EXPECT_THAT(counted("music", {type("a.other"), type("a.Track"), type("soundtrack"),
                                  type("a.tracks"), type(".track")}),
                ElementsAre(".track"));
    EXPECT_THAT(counted("Music", {type("a.other"), type("a.movie")}), ElementsAre("a.movie"));
    EXPECT_THAT(counted("music", {type("a.other"), type("a.Track")}), ElementsAre("a.other"));
}

TEST(CountTypes, countAPersonWithAMatchingSuffixToo) {
    EXPECT_THAT(counted("music", {type("a.other"), person("a.track")}), ElementsAre("a.track"));
}

TEST(CountTypes, skipPeopleAndContainersWhereNoSuffixMatches) {
    EXPECT_THAT(counted("photos", {type("photos.album", "album"), person("photos.friend"),
                                   type("photos.photo", "photo"), type("photos.clip", "clip")}),
                ElementsAre("photos.photo"));
}

TEST(CountTypes, countTheFirstWhenAllArePeopleOrContainers) {
    EXPECT_THAT(counted("people", {person("p.actor"), person("p.singer")}), ElementsAre("p.actor"));
    EXPECT_THAT(counted("music", {type("m.album"), type("m.artist")}), ElementsAre("m.album"));
}

TEST(CountTypes, areNoneWithoutTypes) {
    EXPECT_THAT(counted("music", {}), IsEmpty());
    EXPECT_THAT(counted("unknown", {}), IsEmpty());
}

TEST(KnownContainer, isToldByTheLastSegmentOrTheName) {
    const std::vector<std::string> words{
        "album",    "artist", "author",   "collection", "composer",  "decade", "developer",
        "director", "format", "genre",    "host",       "label",     "mood",   "network",
        "occasion", "person", "platform", "podcast",    "publisher", "season", "series",
        "show",     "studio", "writer",   "year"};
    for (const std::string& word : words) {
        EXPECT_TRUE(isKnownContainer(type("x." + word))) << word;
        EXPECT_TRUE(isKnownContainer(type("x", word))) << word;
        EXPECT_FALSE(isKnownContainer(type(word, "x"))) << word << " without a dot";
        EXPECT_FALSE(isKnownContainer(type("x.a" + word, word + "s"))) << word;
    }
    EXPECT_TRUE(isKnownContainer(type("X.ALBUM")));
    EXPECT_TRUE(isKnownContainer(type("x", "Genre")));
    EXPECT_TRUE(isKnownContainer(type(".year")));
    EXPECT_FALSE(isKnownContainer(type("x", " genre ")));
    EXPECT_FALSE(isKnownContainer(type("x.album.photo")));
    EXPECT_FALSE(isKnownContainer(type("", "")));
}

TEST(ItemLabels, areThoseOfTheOneType) {
    const auto labels = [](std::string name, std::optional<std::string> plural) {
        const std::vector<EntityTypeDTO> one{
            {.id = "x", .name = std::move(name), .plural = std::move(plural)}};
        return itemLabels(one);
    };
    EXPECT_EQ(labels("Track", "Tracks"), (ItemLabels{"track", "tracks"}));
    EXPECT_EQ(labels("photo", std::nullopt), (ItemLabels{"photo", "photos"}));
    EXPECT_EQ(labels(" \t\u00A0Movie\n", "\r\n MOVIES "), (ItemLabels{"movie", "movies"}));
    EXPECT_EQ(labels(" Photo ", " \n"), (ItemLabels{"photo", "photos"}));
    EXPECT_EQ(labels("", "things"), (ItemLabels{"item", "items"}));
    EXPECT_EQ(labels(" \n\u2003", "things"), (ItemLabels{"item", "items"}));
    EXPECT_EQ(labels("ÉPISODE", std::nullopt), (ItemLabels{"épisode", "épisodes"}));
    EXPECT_EQ(labels("two words", "Deux Mots"), (ItemLabels{"two words", "deux mots"}));
}

TEST(ItemLabels, areNeutralForNoneOrSeveralTypes) {
    EXPECT_EQ(itemLabels({}), (ItemLabels{"item", "items"}));
    const std::vector<EntityTypeDTO> two{type("a", "episode"), type("b", "episode")};
    EXPECT_EQ(itemLabels(two), (ItemLabels{"item", "items"}));
}

} // namespace
} // namespace ostra
