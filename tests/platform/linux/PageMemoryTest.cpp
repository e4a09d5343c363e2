#include "platform/linux/window/PageMemory.h"

#include <gtest/gtest.h>

namespace platform::gtk {
namespace {

TEST(PageMemory, isLookedAtLessOftenWhileNoPageIsOnTheScreen) {
    EXPECT_EQ(secondsUntilLook(/*isPageOnScreen=*/true), 2U);
    EXPECT_EQ(secondsUntilLook(/*isPageOnScreen=*/false), 8U);
}

} // namespace
} // namespace platform::gtk
