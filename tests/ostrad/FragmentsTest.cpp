#include "ostrad/Fragments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ostrad {
namespace {

std::string box(const std::string& type, const std::string& content) {
    const auto size = static_cast<std::uint32_t>(content.size() + 8);
    std::string bytes;
    for (const int shift : {24, 16, 8, 0}) {
        bytes += static_cast<char>(size >> static_cast<unsigned>(shift) & 0xffU);
    }
    return bytes + type + content;
}

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

} // namespace
} // namespace ostrad
