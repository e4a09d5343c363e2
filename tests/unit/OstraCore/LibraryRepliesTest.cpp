#include "mac/OstraCore/LibraryReplies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace ostra {
namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ModesReply, givesModesWithTheirTypesInOrder) {
    const auto modes = parseModes(
        R"([{"id":"music","name":"Music","itemType":"x","entityTypes":[
              {"id":"music.track","name":"track","plural":"tracks","isPerson":false,"x":[]},
              {"id":"music.artist","name":"artist","isPerson":true}]},
            {"id":"","name":"","entityTypes":[]}])");
    ASSERT_TRUE(modes);
    EXPECT_THAT(*modes, ElementsAre(ModeDTO{.id = "music",
                                            .name = "Music",
                                            .entityTypes = {{.id = "music.track",
                                                             .name = "track",
                                                             .plural = "tracks",
                                                             .isPerson = false},
                                                            {.id = "music.artist",
                                                             .name = "artist",
                                                             .plural = std::nullopt,
                                                             .isPerson = true}}},
                                    ModeDTO{}));
}

TEST(ModesReply, takesNullForWhatMayBeAbsent) {
    const auto modes = parseModes(
        R"([{"id":"a","name":"A","entityTypes":[{"id":"t","name":"n","plural":null,"isPerson":null}]}])");
    ASSERT_TRUE(modes);
    EXPECT_EQ(modes->at(0).entityTypes.at(0), (EntityTypeDTO{.id = "t", .name = "n"}));
}

TEST(ModesReply, isUndecodableAsAWholeWhenOneRecordIs) {
    const std::string good = R"({"id":"m","name":"M","entityTypes":[]})";
    for (const std::string_view bad :
         {R"({"name":"M","entityTypes":[]})"sv, R"({"id":"m","entityTypes":[]})"sv,
          R"({"id":"m","name":"M"})"sv, R"({"id":7,"name":"M","entityTypes":[]})"sv,
          R"({"id":"m","name":null,"entityTypes":[]})"sv,
          R"({"id":"m","name":"M","entityTypes":{}})"sv,
          R"({"id":"m","name":"M","entityTypes":null})"sv,
          R"({"id":"m","name":"M","entityTypes":[7]})"sv,
          R"({"id":"m","name":"M","entityTypes":[{"name":"n"}]})"sv,
          R"({"id":"m","name":"M","entityTypes":[{"id":"t"}]})"sv,
          R"({"id":"m","name":"M","entityTypes":[{"id":"t","name":"n","plural":7}]})"sv,
          R"({"id":"m","name":"M","entityTypes":[{"id":"t","name":"n","isPerson":1}]})"sv,
          R"({"id":"m","name":"M","entityTypes":[{"id":"t","name":"n","isPerson":"no"}]})"sv,
          "null"sv, "7"sv, "\"m\""sv, "[]"sv}) {
        EXPECT_EQ(parseModes("[" + good + "," + std::string(bad) + "]"), std::nullopt) << bad;
    }
}

TEST(ModesReply, mustBeAnArray) {
    for (const std::string_view reply : {""sv, "{}"sv, "null"sv, "7"sv, "["sv, "[}"sv,
                                         R"([{"id":"m","name":"M","entityTypes":[]})"sv,
                                         R"({"modes":[]})"sv, "[] []"sv, "[\"\xFF\"]"sv}) {
        EXPECT_EQ(parseModes(reply), std::nullopt) << reply;
        EXPECT_EQ(parseLibraries(reply), std::nullopt) << reply;
    }
    EXPECT_THAT(parseModes(" [ ] "), testing::Optional(IsEmpty()));
}

TEST(LibrariesReply, givesTheModeOfEachLibrary) {
    EXPECT_THAT(
        parseLibraries(R"([{"modeId":"tv","id":7},{"modeId":"music"},{"modeId":"tv"}])"),
        testing::Optional(ElementsAre(LibraryDTO{"tv"}, LibraryDTO{"music"}, LibraryDTO{"tv"})));
    EXPECT_EQ(parseLibraries(R"([{"modeId":"tv"},{"id":7}])"), std::nullopt);
    EXPECT_EQ(parseLibraries(R"([{"modeId":7}])"), std::nullopt);
    EXPECT_EQ(parseLibraries(R"([{"modeId":null}])"), std::nullopt);
}

TEST(LibraryReplies, surviveNestingAndSize) {
    for (const char open : {'[', '{'}) {
        EXPECT_EQ(parseModes(std::string(2'000'000, open)), std::nullopt);
        EXPECT_EQ(parseLibraries(std::string(2'000'000, open)), std::nullopt);
    }
    std::string many = "[";
    for (int i = 0; i < 50'000; ++i) {
        many += R"({"modeId":"m"},)";
    }
    many.back() = ']';
    EXPECT_EQ(parseLibraries(many)->size(), 50'000U);
    EXPECT_EQ(parseModes(many), std::nullopt);
}

TEST(TotalCount, isAWholeSignedNumberOf64Bits) {
    using Limits = std::numeric_limits<std::int64_t>;
    EXPECT_EQ(parseTotal("42"), 42);
    EXPECT_EQ(parseTotal("0"), 0);
    EXPECT_EQ(parseTotal("-0"), 0);
    EXPECT_EQ(parseTotal("+7"), 7);
    EXPECT_EQ(parseTotal("-7"), -7);
    EXPECT_EQ(parseTotal("007"), 7);
    EXPECT_EQ(parseTotal("9223372036854775807"), Limits::max());
    EXPECT_EQ(parseTotal("-9223372036854775808"), Limits::min());
    EXPECT_EQ(parseTotal(std::string(10'000, '0') + "1"), 1);
    for (const std::string_view bad : {""sv,
                                       "many"sv,
                                       "+"sv,
                                       "-"sv,
                                       "+-1"sv,
                                       "-+1"sv,
                                       "--1"sv,
                                       "++1"sv,
                                       " 1"sv,
                                       "1 "sv,
                                       "1\t"sv,
                                       "1.0"sv,
                                       "1e3"sv,
                                       "0x10"sv,
                                       "1,000"sv,
                                       "1_000"sv,
                                       "12a"sv,
                                       "42, 42"sv,
                                       "1\0"sv,
                                       "9223372036854775808"sv,
                                       "-9223372036854775809"sv,
                                       "99999999999999999999999999"sv,
                                       "\u0661\u0662"sv,
                                       "\uFF11"sv}) {
        EXPECT_EQ(parseTotal(bad), std::nullopt) << bad;
    }
}

} // namespace
} // namespace ostra
