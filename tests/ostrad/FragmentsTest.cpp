#include "ostrad/Fragments.h"

#include "tests/ostrad/Boxes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ostrad {
namespace {

using test::box;
using test::word;

struct Cut {
    std::vector<std::string> starts;
    std::vector<std::string> parts;
    Fragments fragments{[this](std::string bytes) { starts.push_back(std::move(bytes)); },
                        [this](std::string bytes) { parts.push_back(std::move(bytes)); }};
};

const std::string head = box("ftyp", "iso5") + box("moov", "tracks");
const std::string one = box("moof", "1") + box("mdat", "first");
const std::string two = box("moof", "2") + box("mdat", "");

TEST(Fragments, areCutWhereverThePiecesEnd) {
    const std::string stream = head + one + box("sidx", "left out") + two + box("mfra", "index");
    for (std::size_t size = 1; size <= stream.size(); ++size) {
        Cut cut;
        for (std::size_t at = 0; at < stream.size(); at += size) {
            ASSERT_TRUE(cut.fragments.append(std::string_view(stream).substr(at, size)));
        }
        EXPECT_THAT(cut.starts, testing::ElementsAre(head)) << size;
        EXPECT_THAT(cut.parts, testing::ElementsAre(one, two)) << size;
    }
}

TEST(Fragments, areNotMadeOfAnythingElse) {
    for (const std::string& wrong :
         {std::string("RIFF1234AVI "), std::string("\0\0\0\7ftyp", 8),
          std::string("\xff\xff\xff\xffmdat"), head + box("mdat", "nothing before it")}) {
        Cut cut;
        EXPECT_FALSE(cut.fragments.append(wrong));
        EXPECT_FALSE(cut.fragments.append(head)) << "it stays broken";
    }
}

TEST(Fragments, waitForTheEndOfABox) {
    Cut cut;
    EXPECT_TRUE(cut.fragments.append(head + one.substr(0, one.size() - 1)));
    EXPECT_THAT(cut.parts, testing::IsEmpty());
}

std::string track(std::uint32_t id, const std::string& decoding, const std::string& run) {
    return box("traf", box("tfhd", word(0x20000) + word(id) + word(0)) + box("tfdt", decoding) +
                           box("trun", run));
}

TEST(Fragments, sayWhenTheirFirstPictureIsShown) {
    const std::string early = word(0) + word(7);
    const std::string late = word(0x1000000) + word(1) + word(5); // 64 bits
    const std::string plain = word(0x1) + word(1) + word(100);
    // Data offset, flags, duration, size; then what is added to the time of decoding.
    const std::string behind =
        word(0xb05) + word(1) + word(100) + word(0) + word(1) + word(2) + word(40);
    const std::string before =
        word(0x1000b05) + word(1) + word(100) + word(0) + word(1) + word(2) + word(0xfffffffd);
    const auto time = [](const std::string& tracks, std::uint32_t id) {
        return fragmentTime(box("moof", box("mfhd", word(0) + word(1)) + tracks) + box("mdat", "x"),
                            id);
    };
    EXPECT_EQ(time(track(1, early, plain), 1), 7);
    EXPECT_EQ(time(track(1, early, behind), 1), 47);
    EXPECT_EQ(time(track(1, early, before), 1), 4);
    EXPECT_EQ(time(track(1, late, plain), 1), (std::int64_t{1} << 32U) + 5);
    EXPECT_EQ(time(track(2, early, plain) + track(1, late, behind), 1),
              (std::int64_t{1} << 32U) + 45);
    EXPECT_EQ(time(track(2, early, plain), 1), std::nullopt);
    EXPECT_EQ(time(track(1, word(0x1000000) + word(0xffffffff) + word(0), plain), 1), std::nullopt)
        << "there is no such time";
}

TEST(Fragments, haveNoTimeWhereTheyAreCutShort) {
    const std::string whole = box(
        "moof", track(1, word(0x1000000) + word(0) + word(9),
                      word(0xb05) + word(1) + word(100) + word(0) + word(1) + word(2) + word(40)));
    EXPECT_EQ(fragmentTime(whole, 1), 49);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(fragmentTime(whole.substr(0, size), 1), std::nullopt) << size;
    }
    for (const std::string& run : {std::string(), word(0x800), word(0x800) + word(1)}) {
        EXPECT_EQ(fragmentTime(box("moof", track(1, word(0) + word(9), run)), 1), 9);
    }
    EXPECT_EQ(fragmentTime(box("moof", track(1, word(0x1000000) + word(9), "")), 1), std::nullopt);
    EXPECT_EQ(fragmentTime(box("moof", track(1, "", "")), 1), std::nullopt);
    EXPECT_EQ(fragmentTime(box("moof", box("traf", box("tfdt", word(0) + word(9)))), 1),
              std::nullopt);
}

} // namespace
} // namespace ostrad
