// NSApplication and its delegate, seen from the product's side: a small application says what it
// was told (tests/desktop/probe).
#include "platform/posix/ProcessEntry.h"
#include "tests/cocoa_host/application/DrivenProgram.h"
#include "tests/desktop/session/Waiting.h"
#include "tests/support/fewthreads/FewThreads.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace {

using cocoa_host::DrivenProgram;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// What platform/cocoa/CocoaWorkspace.h gives an instance that is to follow this one.
constexpr const char* newInstanceVariable = "APPLICATION_WAITS_FOR_PREVIOUS_INSTANCE";

class CocoaApplicationTest : public testing::Test {
  protected:
    static std::unique_ptr<DrivenProgram> launch(std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.begin(), COCOA_HOST_PROBE);
        auto program = std::make_unique<DrivenProgram>(arguments);
        EXPECT_TRUE(program->says("launched"));
        return program;
    }
    // Signals are taken over by other threads, beside the launch. Until then SIGINT is GNUstep's,
    // which quits without a reason.
    static void settle(DrivenProgram& program) {
        EXPECT_TRUE(desktop::eventually([&] { return program.ask("signals").size() == 3; }));
    }

    static bool hasOpen(pid_t process, const char* name) {
        std::error_code gone;
        const std::filesystem::directory_iterator files(fmt::format("/proc/{}/fd", process), gone);
        return std::ranges::any_of(files, [&](const auto& file) {
            return std::filesystem::read_symlink(file, gone).filename() == name;
        });
    }

    static long count(const DrivenProgram& program, const std::string& line) {
        return std::ranges::count(program.said(), line);
    }
};

class EndsBySignal : public CocoaApplicationTest, public testing::WithParamInterface<int> {};

TEST_P(EndsBySignal, asASystemsQuitAndTellsOnce) {
    const auto program = launch();
    settle(*program);
    program->signal(GetParam());
    EXPECT_EQ(program->waitForExit(), 0);
    EXPECT_THAT(program->said(),
                ElementsAre("launched", "should terminate, aevt quit why logo", testing::_));
    EXPECT_THAT(program->said().back(), testing::StartsWith("will terminate"));
}

INSTANTIATE_TEST_SUITE_P(Every, EndsBySignal, testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto& test) {
                             return std::string("SIG") + ::sigabbrev_np(test.param);
                         });

TEST_F(CocoaApplicationTest, goesOnWhenTheDelegateRefuses) {
    const auto program = launch({"--refuse-first"});
    settle(*program);
    program->signal(SIGTERM);
    ASSERT_TRUE(program->says("should terminate, aevt quit why logo"));
    program->tell("quit");
    EXPECT_EQ(program->waitForExit(), 0);
    // The quit that came after the signal has no reason of its own.
    EXPECT_EQ(count(*program, "should terminate, no event"), 1);
}

TEST_F(CocoaApplicationTest, passesOnWhyTheSystemQuits) {
    const auto program = launch({"--refuse"});
    EXPECT_THAT(program->ask("quit"), IsEmpty());
    EXPECT_EQ(count(*program, "should terminate, no event"), 1);
    program->tell("quit rsdn");
    EXPECT_EQ(program->waitForExit(), 0);
    EXPECT_EQ(count(*program, "should terminate, aevt quit why rsdn"), 1);
}

TEST_F(CocoaApplicationTest, tellsOnceThoughItIsAskedAgainWhileItEnds) {
    const auto program = launch({"--stop-milliseconds", "300"});
    settle(*program);
    program->signal(SIGTERM);
    ASSERT_TRUE(program->says("should terminate, aevt quit why logo"));
    program->signal(SIGHUP);
    EXPECT_EQ(program->waitForExit(), 0);
    EXPECT_EQ(program->said().size(), 3U);
}

TEST_F(CocoaApplicationTest, quitsWhileAnAlertIsUp) {
    const auto program = launch({"--alert", "Really?"});
    settle(*program);
    ASSERT_THAT(program->ask("modal"), ElementsAre("yes"));
    program->signal(SIGHUP);
    EXPECT_EQ(program->waitForExit(), 0);
    EXPECT_EQ(count(*program, "should terminate, aevt quit why logo"), 1);
}

TEST_F(CocoaApplicationTest, asksTheUserAndGoesOn) {
    const auto program = launch({"--alert", "Really?"});
    ASSERT_TRUE(program->says("a task ran")); // the main queue is served meanwhile
    program->tell("answer 1");
    EXPECT_TRUE(program->says("answered 1"));
}

TEST_F(CocoaApplicationTest, reopensWithAndWithoutWindows) {
    const auto program = launch({"--window", "Probe"});
    EXPECT_THAT(program->ask("windows"), ElementsAre("Probe"));
    EXPECT_THAT(program->ask("reopen"), ElementsAre("yes"));
    EXPECT_TRUE(program->says("reopen, visible windows: true"));
    EXPECT_THAT(program->ask("close"), IsEmpty());
    EXPECT_TRUE(program->says("will close, visible: true"));
    EXPECT_THAT(program->ask("windows"), IsEmpty());
    EXPECT_THAT(program->ask("reopen"), ElementsAre("yes"));
    EXPECT_TRUE(program->says("reopen, visible windows: false"));
    EXPECT_THAT(program->ask("windows"), ElementsAre("Probe"));
}

TEST_F(CocoaApplicationTest, leavesAReopeningToTheDelegate) {
    const auto program = launch({"--ignore-reopen"});
    EXPECT_THAT(program->ask("reopen"), ElementsAre("no"));
}

TEST_F(CocoaApplicationTest, isAskedToReopenByASecondInstanceWhichEnds) {
    const auto first = launch({"--window", "Probe"});
    DrivenProgram second({COCOA_HOST_PROBE});
    EXPECT_EQ(second.waitForExit(), 0);
    EXPECT_EQ(count(second, "launched"), 0);
    EXPECT_THAT(
        second.complaints(),
        Contains("test.zorvane.probe is running already, and has been asked to show itself"));
    EXPECT_TRUE(first->says("reopen, visible windows: true"));
    EXPECT_THAT(first->ask("close"), IsEmpty());
    DrivenProgram third({COCOA_HOST_PROBE});
    EXPECT_EQ(third.waitForExit(), 0);
    EXPECT_TRUE(first->says("reopen, visible windows: false"));
    EXPECT_THAT(first->ask("windows"), ElementsAre("Probe"));
}

TEST_F(CocoaApplicationTest, endsWhenTheInstanceThatRunsDoesNotAnswer) {
    const auto first = launch();
    settle(*first);
    first->signal(SIGSTOP);
    DrivenProgram second({COCOA_HOST_PROBE});
    EXPECT_EQ(second.waitForExit(), 1);
    EXPECT_EQ(count(second, "launched"), 0);
    EXPECT_THAT(second.complaints(),
                Contains("test.zorvane.probe is running already, but does not answer"));
    first->signal(SIGCONT);
    first->signal(SIGTERM);
    EXPECT_EQ(first->waitForExit(), 0);
    EXPECT_EQ(count(*first, "reopen, visible windows: false"), 0);
}

// It makes sure that there are as many threads as it needs, and one of the next is refused; which
// of them is the one that answers depends on what the system's libraries have started before.
TEST_F(CocoaApplicationTest, goesOnWithoutAThreadThatAnswersASecondInstance) {
    bool wasRefused = false;
    for (std::size_t more = 0; more < 4 && !wasRefused; ++more) {
        DrivenProgram program(
            {COCOA_HOST_PROBE},
            {{"LD_PRELOAD", COCOA_HOST_FEWTHREADS},
             {fewthreads::programVariable, "cocoa-host-probe"},
             {fewthreads::refusedVariable, "1"},
             {fewthreads::mostVariable, std::to_string(platform::posix::neededThreads + more)}});
        if (program.says("launched")) {
            wasRefused = std::ranges::any_of(program.complaints(), [](const std::string& line) {
                return line.contains("a second instance is not answered: Resource temporarily");
            });
        } else {
            EXPECT_EQ(program.waitForExit(), 1);
        }
    }
    EXPECT_TRUE(wasRefused);
}

TEST_F(CocoaApplicationTest, waitsForTheInstanceThatItFollows) {
    auto first = launch({"--stop-milliseconds", "300"});
    settle(*first);
    DrivenProgram next({COCOA_HOST_PROBE}, {{newInstanceVariable, "1"}});
    ASSERT_TRUE(desktop::eventually([&] { return hasOpen(next.pid(), "instance.lock"); }));
    first->signal(SIGTERM);
    EXPECT_EQ(first->waitForExit(), 0);
    EXPECT_EQ(count(*first, "reopen, visible windows: false"), 0);
    EXPECT_TRUE(next.says("launched"));
}

TEST_F(CocoaApplicationTest, goesOnWithoutWindowsUnlessTheDelegateEndsIt) {
    auto stays = launch({"--window", "Probe"});
    EXPECT_THAT(stays->ask("close"), IsEmpty());
    EXPECT_TRUE(stays->says("last window closed"));
    EXPECT_THAT(stays->ask("windows"), IsEmpty());
    stays.reset();
    const auto ends = launch({"--window", "Probe", "--end-after-last-window"});
    ends->tell("close");
    EXPECT_EQ(ends->waitForExit(), 0);
}

TEST_F(CocoaApplicationTest, hasAMainMenuWhoseKeysWork) {
    const auto program = launch({"--main-menu", "--refuse-always"});
    EXPECT_THAT(program->ask("key q"), IsEmpty());
    EXPECT_EQ(count(*program, "should terminate, no event"), 1);
    EXPECT_THAT(program->ask("key ü"), ElementsAre("no such key"));
}

TEST_F(CocoaApplicationTest, hasAStatusMenuThatIsMadeWhenItOpens) {
    const auto program = launch({"--status", "Probe", "--tool-tip", "Tip"});
    EXPECT_THAT(program->ask("tool-tip"), ElementsAre("Tip"));
    EXPECT_EQ(count(*program, "menu opens, 1"), 0);
    EXPECT_THAT(program->ask("menu"),
                ElementsAre("disabled Opened: 1", "separator", "item Say_hello", "disabled Never",
                            "checked Checked", "separator", "item Stop"));
    EXPECT_THAT(program->ask("choose Say_hello"), IsEmpty());
    EXPECT_TRUE(program->says("chosen: hello"));
    program->tell("choose Stop");
    EXPECT_EQ(program->waitForExit(), 0);
}

} // namespace
