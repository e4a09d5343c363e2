#include "platform/DownloadBounds.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t piece = DownloadBounds::bytesBetweenLooks;

struct Volume {
    std::optional<std::uintmax_t> left = DownloadBounds::reserve;
    int looks = 0;

    auto space() {
        return [this] {
            ++looks;
            return left;
        };
    }
};

TEST(DownloadBounds, endsADownloadOfWhichNothingComesForTwentySeconds) {
    Volume volume;
    SteadyTime now{};
    DownloadBounds bounds(now);
    EXPECT_EQ(bounds.trouble(0, now + 19s, volume.space()), std::nullopt);
    EXPECT_EQ(bounds.trouble(0, now + 20s, volume.space()), "Nothing has come any more.");
}

TEST(DownloadBounds, letsADownloadTakeItsTimeAsLongAsSomethingComes) {
    Volume volume;
    SteadyTime now{};
    DownloadBounds bounds(now);
    for (std::uint64_t count = 1; count <= 100; ++count) {
        now += 19s;
        EXPECT_EQ(bounds.trouble(count, now, volume.space()), std::nullopt) << count;
        EXPECT_EQ(bounds.trouble(count, now, volume.space()), std::nullopt) << count;
    }
    EXPECT_EQ(bounds.trouble(100, now + 20s, volume.space()), "Nothing has come any more.");
}

TEST(DownloadBounds, leavesOthersOnTheVolumeWhatTheyNeed) {
    Volume volume;
    const SteadyTime now{};
    DownloadBounds bounds(now);
    EXPECT_EQ(bounds.trouble(piece, now, volume.space()), std::nullopt);
    volume.left = DownloadBounds::reserve - 1;
    EXPECT_EQ(bounds.trouble(2 * piece, now, volume.space()), "There is not enough space.");
}

TEST(DownloadBounds, looksAtTheSpaceOnceForEveryEightMegabytes) {
    Volume volume{.left = 0};
    const SteadyTime now{};
    DownloadBounds bounds(now);
    EXPECT_EQ(bounds.trouble(piece - 1, now, volume.space()), std::nullopt);
    EXPECT_EQ(volume.looks, 0);
    volume.left = DownloadBounds::reserve;
    for (std::uint64_t count = 0; count <= 10 * piece; count += piece / 4) {
        (void)bounds.trouble(count, now, volume.space());
    }
    EXPECT_EQ(volume.looks, 10);
}

TEST(DownloadBounds, goesOnWhereTheSpaceIsNotKnown) {
    Volume volume{.left = std::nullopt};
    const SteadyTime now{};
    DownloadBounds bounds(now);
    EXPECT_EQ(bounds.trouble(piece, now, volume.space()), std::nullopt);
    EXPECT_EQ(volume.looks, 1);
}

} // namespace
} // namespace platform
