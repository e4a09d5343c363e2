#include "platform/linux/InstancePlace.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace platform::desktop {
namespace {

std::string x11Of(const std::string& display) {
    return here({{"DISPLAY", display}}).x11;
}

TEST(InstancePlace, isThisProcessAndItsDisplays) {
    const InstancePlace place = here(
        {{"DISPLAY", ":7"}, {"WAYLAND_DISPLAY", "wayland-1"}, {"XDG_RUNTIME_DIR", "/run/user/1"}});
    EXPECT_EQ(place.process, ::getpid());
    EXPECT_EQ(place.x11, ":7");
    EXPECT_EQ(place.wayland, "/run/user/1/wayland-1");
    EXPECT_EQ(here({{"WAYLAND_DISPLAY", "/tmp/socket"}}).wayland, "/tmp/socket");
    EXPECT_EQ(here({}).wayland, "");
}

TEST(InstancePlace, knowsADisplayByEachOfItsNames) {
    EXPECT_EQ(x11Of(":0.1"), ":0");
    EXPECT_EQ(x11Of("unix:0"), ":0");
    EXPECT_EQ(x11Of("unix/:0.0"), ":0");
    EXPECT_EQ(x11Of("far.example:10.0"), "far.example:10");
    EXPECT_EQ(x11Of("nonsense"), "");
    EXPECT_EQ(x11Of(""), "");
}

TEST(InstancePlace, isSeenFromWhereADisplayIsTheSame) {
    const InstancePlace both{.host = "mars", .process = 1, .x11 = ":0", .wayland = "/run/w"};
    const InstancePlace x11{.host = "mars", .process = 2, .x11 = ":0"};
    const InstancePlace wayland{.host = "mars", .process = 3, .wayland = "/run/w"};
    EXPECT_TRUE(shareADisplay(both, x11));
    EXPECT_TRUE(shareADisplay(wayland, both));
    EXPECT_FALSE(shareADisplay(x11, wayland));
    EXPECT_FALSE(shareADisplay(x11, {.host = "mars", .process = 4, .x11 = ":1"}));
    EXPECT_FALSE(shareADisplay(x11, {.host = "venus", .process = 4, .x11 = ":0"}));
}

TEST(InstancePlace, isReadAsItWasWritten) {
    const InstancePlace place{.host = "mars", .process = 12, .x11 = ":0", .wayland = "/run/w"};
    EXPECT_EQ(readPlace(written(place)), place);
    EXPECT_EQ(describe(place), "process 12 on mars, display /run/w");
    const InstancePlace bare{.host = "mars", .process = 12};
    EXPECT_EQ(readPlace(written(bare)), bare);
    EXPECT_EQ(describe(bare), "process 12 on mars, without a display");
}

TEST(InstancePlace, isNotReadFromAnythingElse) {
    for (const std::string text : {"", "12\nmars\n:0\n", "12\nmars\n:0\n\nmore", "x\nmars\n:0\n\n",
                                   "12 \nmars\n:0\n\n", "-1\nmars\n:0\n\n", "0\nmars\n:0\n\n",
                                   "99999999999\nmars\n:0\n\n", "12\nma\033[31mrs\n:0\n\n"}) {
        EXPECT_EQ(readPlace(text), std::nullopt) << text;
    }
}

} // namespace
} // namespace platform::desktop
