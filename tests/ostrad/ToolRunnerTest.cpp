#include "ostrad/ToolRunner.h"

#include "tests/ostrad/ServerProcess.h"
#include "tests/ostrad/TempFolder.h"
#include "tests/support/processes/ProcessTable.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <sstream>
#include <thread>
#include <tuple>

namespace ostrad {
namespace {

using namespace std::chrono_literals;
using test::TempFolder;

class ToolRunnerTest : public testing::Test {
  protected:
    std::optional<std::string> run(const std::string& script, const ToolLimits& limits = {}) {
        return runTool({temp.writeProgram("tool", script)}, limits, stop);
    }
    // Of a tool that may start others.
    std::optional<std::string> runFreely(const std::string& script,
                                         std::chrono::milliseconds time = 30s) {
        return run(script, {.time = time, .bounds = {.mayStartPrograms = true}});
    }

    TempFolder temp;
    std::atomic<bool> stop = false;
};

TEST_F(ToolRunnerTest, returnsWhatTheToolWrote) {
    EXPECT_EQ(run("printf 'a b'; echo noise >&2"), "a b");
    EXPECT_EQ(run("exit 0"), "");
}

TEST_F(ToolRunnerTest, passesArgumentsAsTheyAre) {
    EXPECT_EQ(
        runTool({temp.writeProgram("tool", "printf '%s|' \"$@\""), "a b", "$HOME", "-x"}, {}, stop),
        "a b|$HOME|-x|");
}

TEST_F(ToolRunnerTest, returnsNothingForAFailure) {
    EXPECT_EQ(run("echo half; exit 3"), std::nullopt);
    EXPECT_EQ(run("kill -9 $$"), std::nullopt);
    EXPECT_EQ(runTool({temp.path("missing")}, {}, stop), std::nullopt);
    EXPECT_EQ(runTool({}, {}, stop), std::nullopt);
}

TEST_F(ToolRunnerTest, boundsTheOutput) {
    EXPECT_EQ(run("exec cat /dev/zero", {.time = 30s, .maxOutput = 100'000}), std::nullopt);
}

TEST_F(ToolRunnerTest, takesLargeOutputWhole) {
    const auto output = run("i=0; while [ $i -lt 3000 ]; do echo "
                            "0123456789012345678901234567890123456789; i=$((i+1)); done");
    ASSERT_TRUE(output);
    EXPECT_EQ(output->size(), 3000U * 41U);
}

TEST_F(ToolRunnerTest, killsAToolThatTakesTooLongWithItsOwnChildren) {
    const std::string pidFile = temp.path("pid");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(runFreely("sleep 600 & echo $! > '" + pidFile + "'; wait", 300ms), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    const int grandchild = std::stoi(test::readFile(pidFile));
    EXPECT_TRUE(test::eventually([&] { return process_test::isGone(grandchild); }));
}

// The tool and its own child, which the kernel would not tell.
TEST_F(ToolRunnerTest, leavesNoToolBehindWhenTheServerIsKilled) {
    const std::string pids = temp.path("pids");
    const std::string tool =
        temp.writeProgram("tool", "sleep 600 & echo $$ $! > '" + pids + ".new'; mv '" + pids +
                                      ".new' '" + pids + "'; wait");
    const pid_t server = ::fork();
    if (server == 0) {
        std::ignore = runTool({tool}, {.time = 600s, .bounds = {.mayStartPrograms = true}}, stop);
        ::_exit(0);
    }
    ASSERT_TRUE(test::eventually([&] { return std::filesystem::exists(pids); }));
    ::kill(server, SIGKILL);
    ::waitpid(server, nullptr, 0);
    std::istringstream numbers(test::readFile(pids));
    int toolPid = 0;
    int grandchild = 0;
    ASSERT_TRUE(numbers >> toolPid >> grandchild);
    EXPECT_TRUE(test::eventually(
        [&] { return process_test::isGone(toolPid) && process_test::isGone(grandchild); }));
}

TEST_F(ToolRunnerTest, killsTheToolWhenToldToStop) {
    const std::string started = temp.path("started");
    std::thread stopper([&] {
        test::eventually([&] { return std::filesystem::exists(started); });
        stop = true;
    });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(run(": > '" + started + "'; exec sleep 600", {.time = 60s}), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
    stopper.join();
}

TEST_F(ToolRunnerTest, handsTheInputOverWhole) {
    const std::string tool = temp.writeProgram("tool", "exec cat");
    const std::string input(ToolProcess::mostInput, 'i');
    EXPECT_EQ(runTool({tool}, {}, stop, input), input);
    EXPECT_EQ(runTool({tool}, {}, stop), "");
    EXPECT_EQ(runTool({tool}, {}, stop, input + "i"), std::nullopt);
}

TEST_F(ToolRunnerTest, leavesTheToolNothingOfTheServers) {
    const int open = ::dup2(2, 77);
    EXPECT_EQ(run("if [ -e /dev/fd/77 ]; then echo open; else echo closed; fi"), "closed\n");
    ::close(open);
    // Neither blocked nor ignored signals.
    EXPECT_EQ(run("kill -TERM $$; echo alive"), std::nullopt);
}

TEST_F(ToolRunnerTest, boundsTheMemory) {
    const std::string tool = "exec dd if=/dev/zero of=/dev/null bs=300000000 count=1";
    EXPECT_TRUE(run(tool, {.time = 60s}));
    EXPECT_EQ(run(tool, {.time = 60s, .bounds = {.memory = 100'000'000}}), std::nullopt);
}

#ifdef __linux__
TEST_F(ToolRunnerTest, keepsAToolFromTheNetworkAndFromStartingPrograms) {
    ASSERT_TRUE(canConfineTools());
    EXPECT_EQ(run("/bin/true && echo started"), std::nullopt);
    EXPECT_EQ(runFreely("/bin/true && echo started"), "started\n");
    // bash opens a socket for this name; the refusal comes before any connection.
    const std::string connect = "#!/bin/bash\n: 3<>/dev/udp/127.0.0.1/9 && echo connected\n";
    const std::string tool = temp.write("connect", connect);
    std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
    EXPECT_EQ(runTool({tool}, {}, stop), std::nullopt);
    EXPECT_EQ(runTool({tool}, {.bounds = {.mayStartPrograms = true}}, stop), std::nullopt);
    EXPECT_EQ(test::runToEnd(tool, {}).output, "connected\n") << "the test itself";
}
#endif

} // namespace
} // namespace ostrad
