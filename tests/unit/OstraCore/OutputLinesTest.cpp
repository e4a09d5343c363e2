#include "mac/OstraCore/OutputLines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace ostra {
namespace {

using Lines = std::vector<std::string>;
using namespace std::string_view_literals;

class OutputLinesTest : public testing::Test {
  protected:
    Lines seen;
    OutputLines lines{[this](std::span<const std::string_view> some) {
        seen.insert(seen.end(), some.begin(), some.end());
    }};
    void feedByteByByte(std::string_view text) {
        for (const char& byte : text) {
            lines.append({&byte, 1});
        }
    }
};

TEST_F(OutputLinesTest, splitsAtLineFeedsAndDropsEmptyLines) {
    lines.append("one\n\ntwo\n\n\n three \n");
    EXPECT_EQ(seen, (Lines{"one", "two", " three "}));
}

TEST_F(OutputLinesTest, keepsAnUnfinishedLineUntilTheEnd) {
    lines.append("one\ntw");
    EXPECT_EQ(seen, Lines{"one"});
    lines.append("o");
    lines.finish();
    EXPECT_EQ(seen, (Lines{"one", "two"}));
    lines.finish();
    EXPECT_EQ(seen, (Lines{"one", "two"}));
}

TEST_F(OutputLinesTest, joinsSingleBytesAndSplitCharacters) {
    feedByteByByte("héllo wörld €\n📻 on air\nend");
    lines.finish();
    EXPECT_EQ(seen, (Lines{"héllo wörld €", "📻 on air", "end"}));
}

TEST_F(OutputLinesTest, passesNulBytesOn) {
    lines.append("a\0b\n"sv);
    EXPECT_EQ(seen, Lines{std::string("a\0b"sv)});
}

TEST_F(OutputLinesTest, dropsALineThatIsNotUtf8AndOnlyThatLine) {
    lines.append("good\nbad \xFF\xFE here\nalso good\n\xC3");
    lines.append("\nlast\n");
    EXPECT_EQ(seen, (Lines{"good", "also good", "last"}));
}

TEST_F(OutputLinesTest, cutsALineThatIsTooLongAndMarksIt) {
    const std::string whole(OutputLines::maxLineBytes, 'x');
    lines.append(whole + "\n" + whole + "y\nnext\n");
    EXPECT_EQ(seen, (Lines{whole, whole + std::string(OutputLines::cutMark), "next"}));
}

TEST_F(OutputLinesTest, cutsBetweenCharacters) {
    // The limit falls into the middle of the last character.
    const std::string start(OutputLines::maxLineBytes - 1, 'x');
    lines.append(start + "€€\n");
    EXPECT_EQ(seen, Lines{start + std::string(OutputLines::cutMark)});
    seen.clear();
    feedByteByByte(start + "€€\nnext\n");
    EXPECT_EQ(seen, (Lines{start + std::string(OutputLines::cutMark), "next"}));
}

TEST_F(OutputLinesTest, holdsAHundredMegabyteLineInBoundedMemory) {
    const std::string piece(std::size_t{64} * 1024, 'x');
    for (int count = 0; count < 1600; ++count) {
        lines.append(piece);
    }
    EXPECT_TRUE(seen.empty());
    lines.append("\nnext\n");
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].size(), OutputLines::maxLineBytes + OutputLines::cutMark.size());
    EXPECT_EQ(seen[1], "next");
}

TEST_F(OutputLinesTest, handsOverABoundedNumberOfLinesAtATime) {
    std::string text;
    for (std::size_t count = 0; count < 3 * OutputLines::mostAtOnce; ++count) {
        text += "x\n";
    }
    std::size_t most = 0;
    std::size_t all = 0;
    OutputLines counted([&](std::span<const std::string_view> some) {
        most = std::max(most, some.size());
        all += some.size();
    });
    counted.append(text);
    EXPECT_EQ(most, OutputLines::mostAtOnce);
    EXPECT_EQ(all, 3 * OutputLines::mostAtOnce);
}

TEST_F(OutputLinesTest, saysTheSameHoweverTheBytesArrive) {
    const std::string text = "one\ntwo €\n\n\xFF\nthree 📻\nfour";
    lines.append(text);
    lines.finish();
    const Lines expected = seen;
    for (std::size_t size = 1; size <= text.size(); ++size) {
        seen.clear();
        for (std::size_t at = 0; at < text.size(); at += size) {
            lines.append(std::string_view(text).substr(at, size));
        }
        lines.finish();
        EXPECT_EQ(seen, expected) << "pieces of " << size;
    }
}

} // namespace
} // namespace ostra
