// tools/run where `uname` says Darwin: the application is started as it is, in the user's session.
#include "tests/packaging/StandIns.h"

#include <gmock/gmock.h>

namespace {

using packaging_test::StandIns;
using testing::ElementsAre;
using testing::HasSubstr;

class RunOnAMac : public testing::Test {
  protected:
    RunOnAMac() { tools.prints("uname", "Darwin\n"); }

    // What a Mac has none of fails the test when it is called.
    StandIns tools{{"uname", "application", "Xvfb", "dbus-daemon", "setsid", "setpriv"}};
};

TEST_F(RunOnAMac, becomesTheApplicationAndStartsNothingElse) {
    const auto done = tools.run("tools/run", {"--flag", "two words"},
                                {{"ZORVANE_EXECUTABLE", tools.path("application")}});
    EXPECT_EQ(done.status, 0) << done.output;
    EXPECT_THAT(tools.calls(), ElementsAre("uname", "application --flag two words"));
    EXPECT_THAT(done.output, HasSubstr("Zorvane runs until Ctrl-C."));
}

TEST_F(RunOnAMac, endsAsTheApplicationDoes) {
    tools.fails("application", 7);
    EXPECT_EQ(
        tools.run("tools/run", {}, {{"ZORVANE_EXECUTABLE", tools.path("application")}}).status, 7);
}

TEST_F(RunOnAMac, saysHowToMakeTheApplication) {
    const auto done = tools.run("tools/run", {}, {{"ZORVANE_EXECUTABLE", "/nowhere/Zorvane"}});
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.output, "There is no /nowhere/Zorvane yet: make build makes it.\n");
}

} // namespace
