#include "ostrad/CutPoints.h"

#include <gmock/gmock.h>

#include <string>

namespace ostrad {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kFormat = "format,0.000000,1000000\n";

TEST(CutPoints, areKeyFramesThatWereSeen) {
    EXPECT_THAT(parseCutPoints(std::string("packet,0.023000,K_\npacket,0.143,__\npacket,0.063,__\n"
                                           "packet,3.023000,K__\npacket,3.143,__\npacket,3.063,__\n"
                                           "packet,3.023000,K__\npacket,3.143,__\npacket,3.063,__\n"
                                           "packet,9.5,K_\npacket,9.6,__\n") +
                                   kFormat,
                               20'000),
                ElementsAre(0, 3023, 9500));
}

TEST(CutPoints, areCountedFromWhereTheFileBegins) {
    EXPECT_THAT(parseCutPoints("packet,1.4,K_\npacket,5.4,K_\nformat,1.400000,1000\n", 10'000),
                ElementsAre(0, 4000));
}

TEST(CutPoints, areNotTooNear) {
    // Each picture is a key frame.
    EXPECT_THAT(parseCutPoints(std::string("packet,0,K_\npacket,0.04,K_\npacket,0.08,K_\n"
                                           "packet,4,K_\npacket,4.04,K_\npacket,4.08,K_\n"
                                           "packet,7.95,K_\n") +
                                   kFormat,
                               8000),
                ElementsAre(0, 4000));
}

TEST(CutPoints, areUnknownWherePartsWouldBeTooLong) {
    const std::string looks = "packet,0,K_\npacket,12,K_\n";
    EXPECT_THAT(parseCutPoints(looks + kFormat, 24'000), ElementsAre(0, 12'000));
    EXPECT_THAT(parseCutPoints(looks + kFormat, 24'001), IsEmpty()) << "the last one";
    EXPECT_THAT(parseCutPoints("packet,0,K_\npacket,12.001,K_\n" + std::string(kFormat), 20'000),
                IsEmpty());
    // Twelve of 24 seconds are half of the file.
    EXPECT_THAT(
        parseCutPoints(looks + "format,0," + std::to_string(2 * kLargestCut) + "\n", 24'000),
        ElementsAre(0, 12'000));
    EXPECT_THAT(
        parseCutPoints(looks + "format,0," + std::to_string(2 * kLargestCut + 2) + "\n", 24'000),
        IsEmpty());
}

TEST(CutPoints, areUnknownWherePicturesLeanAcrossThem) {
    EXPECT_THAT(parseCutPoints(std::string("packet,0,K_\npacket,0.12,__\npacket,0.04,__\n"
                                           "packet,4,K_\npacket,3.88,__\npacket,3.92,__\n") +
                                   kFormat,
                               8000),
                IsEmpty());
}

TEST(CutPoints, areUnknownForAnythingElse) {
    for (const char* const wrong :
         {"", "packet,0,K_\n", "format,0,1000\n", "packet,N/A,K_\nformat,0,1000\n",
          "packet,0,K_\nformat,N/A,1000\n", "packet,0,K_\nformat,0,N/A\n",
          "packet,0,__\npacket,4,K_\nformat,0,1000\n", // no key frame is at the beginning
          "packet,0,K_\npacket,1,__\npacket,2,__\npacket,3,__\nformat,0,1000\n",
          "packet,0.501,K_\npacket,4,K_\nformat,0,1000\n",
          "packet,0,K_\npacket,4,K_\nformat,0.1,1000\n", "packet\n", "\n\n", "frame,0,K_\n",
          "packet,0,K_\npacket,1e300,K_\nformat,0,1000\n",
          "packet,0,K_\npacket,nan,K_\nformat,0,1000\n"}) {
        EXPECT_THAT(parseCutPoints(wrong, 8000), IsEmpty()) << wrong;
    }
}

} // namespace
} // namespace ostrad
