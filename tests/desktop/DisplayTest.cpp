// Without a usable display the application says so in one sentence and starts nothing; what needs
// no display works without one.
#include "tests/desktop/ApplicationTest.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace desktop {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

class Display : public ApplicationTest {
  protected:
    void expectOneSentence() {
        application = launch();
        EXPECT_EQ(application->waitForExit(patience), 1);
        const std::string said = application->standardError();
        EXPECT_THAT(said, AllOf(HasSubstr("Zorvane"), HasSubstr("display"), HasSubstr("DISPLAY")));
        EXPECT_EQ(std::ranges::count(said, '\n'), 1) << said;
        EXPECT_EQ(application->standardOutput(), "");
        EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
    }
};

TEST_F(Display, missingIsSaidInOneSentence) {
    session.environment.erase("DISPLAY");
    expectOneSentence();
}

TEST_F(Display, thatCannotBeUsedIsSaidInOneSentence) {
    session.environment["DISPLAY"] = ":59999"; // above those that a display number is looked for
    expectOneSentence();
}

TEST_F(Display, isNotNeededToTellTheVersion) {
    session.environment.erase("DISPLAY");
    application = launch({"--version"});
    EXPECT_EQ(application->waitForExit(patience), 0);
    EXPECT_THAT(application->standardOutput(), HasSubstr("Zorvane"));
    EXPECT_EQ(application->standardError(), "");
}

TEST_F(Display, isNotNeededToHelp) {
    session.environment.erase("DISPLAY");
    application = launch({"--help"});
    EXPECT_EQ(application->waitForExit(patience), 0);
    EXPECT_THAT(application->standardOutput(), HasSubstr("--version"));
    EXPECT_EQ(application->standardError(), "");
}

} // namespace
} // namespace desktop
