// Stopping children: politely, by force, while they are stopped, and while they exit anyway.
#include "tests/platform/process/ChildFixture.h"
#include "tests/support/threads/JoiningThread.h"

#include <unistd.h>

#include <csignal>
#include <latch>
#include <thread>

namespace process_test {
namespace {

using namespace std::chrono_literals;

TEST_F(ChildTest, isSentSigtermByTerminate) {
    const auto child = launch(testChild({"ready", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    child->terminate();
    EXPECT_EQ(recorder.exit(), killedBy(SIGTERM));
}

TEST_F(ChildTest, mayChooseItsOwnEndAfterTerminate) {
    const auto child = launch(testChild({"on-term=30:11", "ready", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    child->terminate();
    EXPECT_EQ(recorder.exit(), exitedWith(11));
}

TEST_F(ChildTest, mayIgnoreTerminateButNotKill) {
    const auto child = launch(testChild({"ignore-term", "ready", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    child->terminate();
    EXPECT_FALSE(child->waitForExit(50ms));
    child->kill();
    EXPECT_EQ(recorder.exit(), killedBy(SIGKILL));
}

TEST_F(ChildTest, noticesTerminateThoughItIsStopped) {
    const auto child = launch(testChild({"on-term=0:11", "ready", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    ::kill(child->pid(), SIGSTOP);
    child->terminate();
    EXPECT_EQ(recorder.exit(), exitedWith(11));
}

TEST_F(ChildTest, isKilledThoughItIsStopped) {
    const auto child = launch(testChild({"ready", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    ::kill(child->pid(), SIGSTOP);
    child->kill();
    EXPECT_EQ(recorder.exit(), killedBy(SIGKILL));
}

TEST_F(ChildTest, isSentSigtermOnceHoweverOftenItIsAsked) {
    const std::filesystem::path notes = temporaryPath();
    const auto child = launch(testChild({"farewell=" + notes.native(), "ready", "hang"}, recorder));
    EXPECT_TRUE(recorder.says("ready"));
    child->terminate();
    EXPECT_TRUE(recorder.says("asked to stop"));
    child->terminate();
    EXPECT_EQ(recorder.exit(), exitedWith(0));
    EXPECT_EQ(contentOf(notes), "te");
}

TEST_F(ChildTest, isAloneInBeingSentSigterm) {
    const auto child =
        launch(testChild({"fork=drop", "ignore-term", "print=all", "hang"}, recorder));
    const Watched grandchild(recorder.numberAfter("grandchild"));
    EXPECT_TRUE(recorder.says("all"));
    child->terminate();
    EXPECT_FALSE(grandchild.endsWithin(50ms));
    child->kill();
    EXPECT_TRUE(grandchild.ends());
}

TEST_F(ChildTest, isKilledWithItsGrandchildren) {
    const auto child = launch(testChild({"ignore-term", "fork=hold", "hang"}, recorder));
    const Watched grandchild(recorder.numberAfter("grandchild"));
    child->kill();
    EXPECT_TRUE(grandchild.ends());
    EXPECT_EQ(recorder.exit(), killedBy(SIGKILL));
}

TEST_F(ChildTest, isNotAffectedByCallsAfterItsEnd) {
    const auto child = launch(testChild({"exit=6"}, recorder));
    EXPECT_EQ(recorder.exit(), exitedWith(6));
    child->terminate();
    child->kill();
    EXPECT_TRUE(child->waitForExit(0ms));
    EXPECT_EQ(recorder.exits(), 1);
}

TEST_F(ChildTest, mayBeStoppedByManyThreadsWhileItExits) {
    for (int turn = 0; turn < 40; ++turn) {
        const Recorder each;
        const auto child = launch(testChild({"exit=1"}, each));
        std::latch start(3);
        std::vector<test_support::JoiningThread> stoppers;
        stoppers.emplace_back([&] {
            start.arrive_and_wait();
            for (int call = 0; call < 50; ++call) {
                child->terminate();
            }
        });
        stoppers.emplace_back([&] {
            start.arrive_and_wait();
            for (int call = 0; call < 50; ++call) {
                child->kill();
            }
        });
        stoppers.emplace_back([&] {
            start.arrive_and_wait();
            EXPECT_TRUE(child->waitForExit(patience));
            EXPECT_FALSE(child->isRunning());
        });
        EXPECT_TRUE(each.exit().has_value());
    }
    EXPECT_FALSE(hasChildren());
}

} // namespace
} // namespace process_test
