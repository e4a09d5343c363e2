// The guardian's program when it is started by hand, wrongly or too late.
#include "platform/posix/PosixCommandRunner.h"
#include "tests/platform/process/ChildFixture.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace process_test {
namespace {

using namespace std::chrono_literals;

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

TEST(GuardianProgram, refusesToLeadTheGroupThatItWouldEnd) {
    EXPECT_EQ(exitCodeWith({"--grace-ms", "100"}), 64);
}

// Runs the guardian in the group of a leader that has exited and was reaped; a third member keeps
// the group alive meanwhile.
TEST(GuardianProgram, endsTheGroupAtOnceWhenItsLeaderHasGone) {
    const pid_t leader = ::fork();
    if (leader == 0) {
        ::setpgid(0, 0);
        ::pause();
        ::_exit(0);
    }
    ::setpgid(leader, leader);
    const pid_t member = ::fork();
    if (member == 0) {
        ::setpgid(0, leader);
        ::pause();
        ::_exit(0);
    }
    ASSERT_EQ(::setpgid(member, leader), 0);
    const Watched memberWatch(member);
    ::kill(leader, SIGKILL);
    ASSERT_EQ(::waitpid(leader, nullptr, 0), leader);

    const pid_t guardian = ::fork();
    if (guardian == 0) {
        ::setpgid(0, leader);
        ::execl(ZORVANE_GUARDIAN_PATH, "zorvane-guardian", "--grace-ms", "60000", nullptr);
        ::_exit(1);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(guardian, &status, 0), guardian);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    EXPECT_TRUE(memberWatch.ends());
    EXPECT_EQ(::waitpid(member, &status, 0), member);
}

} // namespace
} // namespace process_test
