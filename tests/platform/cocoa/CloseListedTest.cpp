// Descriptors closed by the kernel's list, on a process that is made up.
#include "platform/cocoa/process/CloseListed.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <set>

namespace {

using platform::posix::closeListed;
using platform::posix::descriptorsAtOnce;
using testing::ElementsAre;

class CloseListed : public testing::Test {
  protected:
    bool closeAll(int first, int last) {
        return closeListed(
            first, last,
            [this](int* listed, std::size_t room) {
                ++lists;
                const std::size_t count = tells ? std::min(room, open.size()) : 0;
                std::copy_n(open.begin(), count, listed);
                return count;
            },
            [this](int descriptor) {
                ++closes;
                open.erase(descriptor);
            });
    }

    std::set<int> open = {0, 1, 2};
    bool tells = true;
    int lists = 0;
    int closes = 0;
};

TEST_F(CloseListed, closesWhatIsOpenAndTriesNothingElse) {
    open = {0, 1, 2, 3, 7, 9, 1'000'000};
    EXPECT_TRUE(closeAll(3, 7));
    EXPECT_THAT(open, ElementsAre(0, 1, 2, 9, 1'000'000));
    EXPECT_TRUE(closeAll(10, INT_MAX));
    EXPECT_THAT(open, ElementsAre(0, 1, 2, 9));
    EXPECT_EQ(closes, 3);
}

TEST_F(CloseListed, asksAgainWhenTheListWasFull) {
    constexpr int many = 5'000;
    for (int descriptor = 3; descriptor < many; ++descriptor) {
        open.insert(descriptor);
    }
    EXPECT_TRUE(closeAll(3, INT_MAX));
    EXPECT_THAT(open, ElementsAre(0, 1, 2));
    EXPECT_EQ(closes, many - 3);
    EXPECT_LE(lists, 25);
}

TEST_F(CloseListed, saysWhenTheListDoesNotReachTheRange) {
    for (int descriptor = 3; descriptor < 3 + static_cast<int>(descriptorsAtOnce); ++descriptor) {
        open.insert(descriptor);
    }
    EXPECT_FALSE(closeAll(100'000, INT_MAX));
}

TEST_F(CloseListed, saysWhenThereIsNoList) {
    tells = false;
    EXPECT_FALSE(closeAll(3, INT_MAX));
    EXPECT_EQ(closes, 0);
}

} // namespace
