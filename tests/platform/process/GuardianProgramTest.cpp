// The guardian's program when it is started by hand, wrongly or too late.
#include "platform/posix/PosixCommandRunner.h"
#include "tests/platform/process/ChildFixture.h"

namespace process_test {
namespace {

int exitCodeWith(const std::vector<std::string>& arguments) {
    platform::PosixCommandRunner runner;
    const auto result = runner.run(ZORVANE_GUARDIAN_PATH, arguments, patience, 1000);
    return result ? result->status.code : -1;
}

TEST(GuardianProgram, refusesArgumentsThatMakeNoSense) {
    EXPECT_EQ(exitCodeWith({}), 64);
    EXPECT_EQ(exitCodeWith({"--grace-ms"}), 64);
    EXPECT_EQ(exitCodeWith({"--grace-ms", "soon"}), 64);
    EXPECT_EQ(exitCodeWith({"--grace-ms", "-1"}), 64);
    EXPECT_EQ(exitCodeWith({"--grace-ms", "1x"}), 64);
    EXPECT_EQ(exitCodeWith({"--grace-ms", "99999999999999999999"}), 64);
    EXPECT_EQ(exitCodeWith({"--grace", "100"}), 64);
}

TEST(GuardianProgram, endsWithoutAnOrder) {
    EXPECT_EQ(exitCodeWith({"--grace-ms", "100"}), 1);
}

} // namespace
} // namespace process_test
