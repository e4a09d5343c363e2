#include "platform/appcast/HandOver.h"

#include "tests/platform/services/Fixtures.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>
#include <utility>

namespace platform::appcast {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

// Whether there is no such process, or nothing of it but what its parent has not read yet.
bool hasEnded(const std::string& process) {
    std::ifstream file("/proc/" + process + "/stat");
    std::string stat;
    std::getline(file, stat);
    const auto end = stat.rfind(')');
    return end == std::string::npos || stat.compare(end, 3, ") Z") == 0;
}

bool never() {
    return false;
}

class HandOver : public ::testing::Test {
  protected:
    std::filesystem::path script(const std::string& text) {
        const auto path = root / "program";
        writeText(path, "#!/bin/sh\n" + text + "\n");
        std::filesystem::permissions(path, std::filesystem::perms{0755});
        return path;
    }
    // Why the script did not take over; empty when it did.
    std::string outcome(const std::string& text, std::chrono::milliseconds patience = 60s) {
        const auto result = handOverTo(script(text), variables, patience, never);
        return result ? "" : result.error();
    }
    std::string file(const std::string& name) {
        const auto path = root / name;
        EXPECT_TRUE(eventually([&] {
            return std::filesystem::exists(path) && readText(path).ends_with('\n');
        })) << name;
        const auto text = readText(path);
        return text.substr(0, text.find('\n'));
    }
    Environment environmentWith(const std::string& folder) {
        auto environment = currentEnvironment();
        environment["FOLDER"] = folder;
        environment["OUTCOME"] = folder + "/outcome";
        return environment;
    }

    test_support::TemporaryFolder root;
    Environment variables = environmentWith(root.path().string());
};

TEST_F(HandOver, succeedsOnceTheNewProcessIsReadyAndTellsItSo) {
    EXPECT_EQ(outcome("printf r >&0; { dd bs=1 count=1 2>/dev/null; echo; } >$FOLDER/answer"), "");
    EXPECT_EQ(file("answer"), "g");
}

TEST_F(HandOver, startsTheProcessInASessionOfItsOwn) {
    EXPECT_EQ(outcome("echo $APPLICATION_TAKES_OVER $(cut -d ' ' -f 6 /proc/$$/stat) $$ "
                      ">$FOLDER/said; printf r >&0; dd bs=1 count=1 >/dev/null 2>&1"),
              "");
    const auto said = file("said");
    const auto space = said.find(' ', 2);
    EXPECT_EQ(said.substr(0, 2), "1 ");
    EXPECT_EQ(said.substr(2, space - 2), said.substr(space + 1));
}

TEST_F(HandOver, failsWhenTheProcessEnds) {
    EXPECT_EQ(outcome("exit 3"), "it ended with status 3");
    EXPECT_EQ(outcome("kill -SEGV $$"), "it was ended by signal 11");
    EXPECT_EQ(outcome("printf x >&0; exit 0"), "it ended with status 0") << "that was another word";
    // What it leaves has its end of the socket, too.
    EXPECT_EQ(outcome("exec 3<&0; sleep 1000 & exit 4", 1h), "it ended with status 4");
}

TEST_F(HandOver, failsWhenTheProgramCannotBeExecuted) {
    EXPECT_THAT(handOverTo(root / "missing", variables, 60s, never).error(),
                HasSubstr("No such file"));
}

TEST_F(HandOver, leavesNothingOfAProcessThatDoesNotTakeOverInTime) {
    EXPECT_EQ(
        outcome("trap '' TERM HUP; sleep 1000 & echo $! >$FOLDER/child; echo $$ >$FOLDER/leader; "
                "wait",
                1s),
        "it did not take over");
    EXPECT_TRUE(hasEnded(file("leader")));
    const auto child = file("child");
    EXPECT_TRUE(eventually([&] { return hasEnded(child); }));
}

TEST_F(HandOver, endsSoonWhenItIsCancelled) {
    const auto result = handOverTo(script("echo $$ >$FOLDER/leader; exec sleep 1000"), variables,
                                   1h, [this] { return std::filesystem::exists(root / "leader"); });
    EXPECT_EQ(result.error(), "it was cancelled");
    EXPECT_TRUE(hasEnded(file("leader")));
}

// Who gives up while the word is on its way is not taken at it.
TEST_F(HandOver, isNotAgreedUponAnyMoreOnceItIsCancelled) {
    bool isCancelled = false;
    const auto result =
        handOverTo(script("printf r >&0; echo >$FOLDER/ready; cat >/dev/null"), variables, 1h, [&] {
            EXPECT_EQ(file("ready"), "");
            return std::exchange(isCancelled, true);
        });
    EXPECT_EQ(result ? "" : result.error(), "it was cancelled");
}

TEST_F(HandOver, doesNotWaitForAProcessThatCanSayNothingAnyMore) {
    EXPECT_EQ(outcome("exec 0</dev/null; exec sleep 1000", 1h), "it did not take over");
}

TEST_F(HandOver, isAgreedUponByBothSides) {
    ASSERT_TRUE(handOverTo(ZORVANE_INSTALL_PROBE, variables, 60s, never));
    EXPECT_EQ(file("outcome"), "agreed clean nothing to read");
}

// The new side alone, with this socket as its standard input.
class Predecessors : public HandOver {
  protected:
    void start(int standardInput, bool isToldSo = true) {
        std::vector<std::string> strings = {"OUTCOME=" + variables["OUTCOME"]};
        if (isToldSo) {
            strings.push_back(std::string(handOverVariable) + "=1");
        }
        std::vector<char*> environment;
        for (auto& text : strings) {
            environment.push_back(text.data());
        }
        environment.push_back(nullptr);
        std::string program = ZORVANE_INSTALL_PROBE;
        char* arguments[] = {program.data(), nullptr};
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, standardInput, STDIN_FILENO);
        ASSERT_EQ(::posix_spawn(&child_, program.c_str(), &actions, nullptr, arguments,
                                environment.data()),
                  0);
        ::posix_spawn_file_actions_destroy(&actions);
    }
    void TearDown() override {
        int status = -1;
        ASSERT_EQ(::waitpid(child_, &status, 0), child_);
        EXPECT_EQ(status, 0);
    }

  private:
    pid_t child_ = -1;
};

TEST_F(Predecessors, thatGoAwayWithoutAWordAreNotFollowed) {
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    start(ends[1]);
    ::close(ends[1]);
    char byte = 0;
    EXPECT_EQ(::read(ends[0], &byte, 1), 1);
    ::close(ends[0]);
    EXPECT_EQ(file("outcome"), "refused clean nothing to read");
}

TEST_F(Predecessors, areFoundOnlyAtTheOtherEndOfASocket) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    start(ends[0]);
    ::close(ends[0]);
    ::close(ends[1]);
    EXPECT_EQ(file("outcome"), "alone clean");
}

TEST_F(Predecessors, areNotThereForAProcessThatNobodyTold) {
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    start(ends[1], false);
    ::close(ends[0]);
    ::close(ends[1]);
    EXPECT_EQ(file("outcome"), "alone clean");
}

} // namespace
} // namespace platform::appcast
