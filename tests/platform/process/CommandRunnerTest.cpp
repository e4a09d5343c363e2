// Programs that are run to their end, in bounded time and memory, whatever they do.
#include "platform/posix/PosixCommandRunner.h"
#include "tests/support/processes/ProcessTable.h"
#include "tests/support/testchild/TestChild.h"
#include "tests/support/threads/JoiningThread.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>
#include <latch>
#include <thread>

namespace process_test {
namespace {

using namespace std::chrono_literals;
using Kind = platform::CommandError::Kind;
using Cues = std::vector<std::string>;

class CommandRunner : public testing::Test {
  protected:
    void TearDown() override {
        EXPECT_EQ(openDescriptors(), descriptorsBefore);
        EXPECT_FALSE(hasChildren());
    }

    auto run(const Cues& cues, std::chrono::milliseconds timeout = patience,
             std::size_t maxOutput = 1000) {
        const auto begin = std::chrono::steady_clock::now();
        auto result = runner.run(testchild::path(), cues, timeout, maxOutput);
        taken = std::chrono::steady_clock::now() - begin;
        return result;
    }

    std::chrono::steady_clock::duration taken{};
    platform::PosixCommandRunner runner{{{"FROM", "the test"}}};

  private:
    std::size_t descriptorsBefore = openDescriptors();
};

// Room for a busy machine on top of a time limit; no program under test ends by itself that fast.
constexpr auto slack = 10s;

TEST_F(CommandRunner, returnsWhatTheProgramPrintedAndItsExitCode) {
    const auto result = run({"print=1.4.2", "exit=3"});
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->output, "1.4.2\n");
    EXPECT_EQ(result->status, (platform::ExitStatus{.signalled = false, .code = 3}));
}

TEST_F(CommandRunner, returnsTheSignalThatEndedTheProgram) {
    const auto result = run({"signal=" + std::to_string(SIGUSR2)});
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->status, (platform::ExitStatus{.signalled = true, .code = SIGUSR2}));
}

TEST_F(CommandRunner, returnsRawBytes) {
    const auto result = run({"print-hex=fffe00c328"});
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->output, std::string("\xff\xfe\x00\xc3\x28", 5));
}

TEST_F(CommandRunner, leavesStandardErrorOut) {
    const auto result = run({"error=complaint", "print=fine"});
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->output, "fine\n");
}

TEST_F(CommandRunner, givesTheProgramNothingButItsStandardDescriptors) {
    const auto result = run({"descriptors", "signals", "mask", "environment"});
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->output, "descriptors 0 1 2\nsignals\nmask\nenvironment FROM=the test\n");
}

TEST_F(CommandRunner, givesTheProgramAGroupOfItsOwn) {
    const auto result = run({"group"});
    ASSERT_TRUE(result.has_value());
    EXPECT_THAT(result->output, testing::EndsWith(" own\n"));
}

TEST_F(CommandRunner, givesTheProgramAnEmptyInput) {
    const auto result = runner.run("/bin/cat", {}, patience, 1000);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->output, "");
    EXPECT_TRUE(result->status.succeeded());
}

TEST_F(CommandRunner, collectsOutputLargerThanAPipe) {
    const auto result = run({"flood=5000000:1000"}, patience, 5'000'000);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->output.size(), 5'000'000);
}

TEST_F(CommandRunner, saysThatThereIsMoreOutputThanAllowed) {
    const auto result = run({"flood=1001:1001"});
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, Kind::tooMuchOutput);
    EXPECT_EQ(result.error().description,
              testchild::path().native() + " printed more than 1000 bytes");
}

TEST_F(CommandRunner, allowsExactlyTheOutputThatIsAllowed) {
    const auto result = run({"flood=1000:10"});
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->output.size(), 1000);
}

TEST_F(CommandRunner, mayAllowNoOutputAtAll) {
    const auto quiet = run({"exit=0"}, patience, 0);
    ASSERT_TRUE(quiet.has_value());
    const auto loud = run({"print=x"}, patience, 0);
    ASSERT_FALSE(loud.has_value());
    EXPECT_EQ(loud.error().kind, Kind::tooMuchOutput);
}

TEST_F(CommandRunner, stallsAProgramThatFloodsItsOutputUntilTheLimit) {
    const auto result = run({"flood=endless:65536"}, 200ms);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, Kind::tooMuchOutput);
    EXPECT_GE(taken, 200ms);
    EXPECT_LT(taken, 200ms + slack);
}

TEST_F(CommandRunner, stallsAProgramThatFloodsItsErrorsUntilTheLimit) {
    const auto result = run({"print=1.4.2", "flood-error=endless:65536"}, 200ms);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, Kind::timedOut);
    EXPECT_GE(taken, 200ms);
    EXPECT_LT(taken, 200ms + slack);
}

TEST_F(CommandRunner, killsAProgramThatHangsAtTheLimit) {
    const auto result = run({"ignore-term", "hang"}, 200ms);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, Kind::timedOut);
    EXPECT_EQ(result.error().description,
              testchild::path().native() + " did not finish within 200 ms");
    EXPECT_GE(taken, 200ms);
    EXPECT_LT(taken, 200ms + slack);
}

TEST_F(CommandRunner, killsAProgramThatStoppedItself) {
    const auto result = run({"signal=" + std::to_string(SIGSTOP), "hang"}, 200ms);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, Kind::timedOut);
}

TEST_F(CommandRunner, acceptsALimitThatIsOverAtOnce) {
    const auto result = run({"hang"}, -1ms);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, Kind::timedOut);
}

// The group of the program, whose own number the program prints first.
pid_t groupFrom(const std::string& output) {
    return std::stoi(output.substr(output.find(' ') + 1));
}

TEST_F(CommandRunner, doesNotWaitForWhatTheProgramLeftBehindAndKillsIt) {
    for (const auto* output : {"fork=hold", "fork=drop"}) {
        const auto result = run({"group", output, "exit=0"});
        ASSERT_TRUE(result.has_value());
        EXPECT_THAT(result->output, testing::HasSubstr("grandchild"));
        EXPECT_LT(taken, slack);
        EXPECT_TRUE(groupEnds(groupFrom(result->output)));
    }
}

TEST_F(CommandRunner, doesNotWaitForSomebodyWhoLeftTheGroupWithTheOutput) {
    const auto result = run({"fork-away=hold", "exit=0"});
    ASSERT_TRUE(result.has_value());
    EXPECT_LT(taken, slack);
    const Watched away(std::stoi(result->output.substr(result->output.find(' ') + 1)));
    EXPECT_TRUE(away.lives());
    away.signal(SIGKILL);
    EXPECT_TRUE(away.ends());
}

TEST_F(CommandRunner, saysThatTheExecutableIsMissing) {
    const auto result = runner.run("/nonexistent/program", {}, patience, 1000);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, Kind::notStarted);
    EXPECT_EQ(result.error().description,
              "cannot start /nonexistent/program: No such file or directory");
}

TEST_F(CommandRunner, saysThatTheFileIsNotExecutable) {
    const auto result = runner.run("/dev/null", {}, patience, 1000);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, Kind::notStarted);
    EXPECT_EQ(result.error().description, "cannot start /dev/null: Permission denied");
}

TEST_F(CommandRunner, refusesAnArgumentThatCannotBePassedOn) {
    const auto result = run({std::string("a\0b", 3)});
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, Kind::notStarted);
}

TEST_F(CommandRunner, mayRunOnManyThreadsAtOnce) {
    std::latch start(4);
    std::vector<test_support::JoiningThread> workers;
    workers.reserve(4);
    for (int worker = 0; worker < 4; ++worker) {
        workers.emplace_back([&, number = std::to_string(worker)] {
            start.arrive_and_wait();
            for (int turn = 0; turn < 25; ++turn) {
                const auto result = runner.run(testchild::path(),
                                               {"print=" + number, "descriptors"}, patience, 1000);
                ASSERT_TRUE(result.has_value());
                EXPECT_EQ(result->output, number + "\ndescriptors 0 1 2\n");
            }
        });
    }
}

TEST_F(CommandRunner, leavesNothingBehindAfterManyRuns) {
    for (int turn = 0; turn < 200; ++turn) {
        ASSERT_TRUE(run({"fork=hold", "exit=0"}).has_value());
    }
}

} // namespace
} // namespace process_test
