// Deaths of everything that shows the window: the window program, and the web engine's processes,
// also while they are being born. The application and its server go on, and the window comes back.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/Stopwatch.h"
#include "tests/desktop/session/TrayHost.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <random>

namespace desktop {
namespace {

class DeathTest : public ApplicationTest {
  protected:
    // Kills the first process of that name that is or comes to be there, if need be because the
    // window is asked for; whether there was one.
    [[nodiscard]] bool killOne(const std::string& name) {
        return eventually([&] {
            // A second one of which the engine waits for a killed part would mean no sandbox.
            if (logged("does not answer and is started again") > hangs_) {
                ++hangs_;
                EXPECT_TRUE(showsThePageOnceItIsAskedFor()) << application->standardError();
            }
            for (const Process& process : processesNamed(name)) {
                if (process.state != 'Z' && ::kill(process.pid, SIGKILL) == 0) {
                    return true;
                }
            }
            askIfItWasGivenUp();
            return false;
        });
    }
    // The last death may be one too many, and seen after the window that it takes was seen.
    [[nodiscard]] bool showsThePageOnceItIsAskedFor() {
        return eventually([&] {
            askIfItWasGivenUp();
            return showsTheServersPageNow();
        });
    }
    // As a user who wants the window: a second launch.
    void askForTheWindow() {
        const auto second = launch();
        EXPECT_EQ(second->waitForExit(patience), 0) << second->standardError();
    }

  private:
    void askIfItWasGivenUp() {
        if (logged("until it is asked for") > asked_) {
            ++asked_;
            askForTheWindow();
        }
    }

    std::size_t asked_ = 0;
    std::size_t hangs_ = 0;
};

class DeathOf : public DeathTest, public ::testing::WithParamInterface<const char*> {};

// How often each is killed; a soak run says more.
int deaths() {
    const char* const count = std::getenv("ZORVANE_DEATHS");
    return count == nullptr ? 4 : std::atoi(count);
}

TEST_P(DeathOf, atAnyMomentHurtsNobodyElse) {
    TrayHost tray(session);
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    ASSERT_TRUE(tray.hasItem());
    const ServerLaunch server = serverLaunches(1).front();
    std::mt19937 random(7);
    for (int death = 0; death < deaths(); ++death) {
        // Every other one as soon as it is there, which is before it has said anything.
        if (death % 2 == 0) {
            std::this_thread::sleep_for(
                std::chrono::milliseconds(std::uniform_int_distribution(0, 400)(random)));
        }
        ASSERT_TRUE(killOne(GetParam())) << describe(session.processes());
        ASSERT_TRUE(application->isRunning()) << application->standardError();
        ASSERT_EQ(::kill(server.pid, 0), 0);
        EXPECT_THAT(tray.openMenu(), ::testing::Contains("Show Zorvane Window"));
    }
    EXPECT_TRUE(showsThePageOnceItIsAskedFor()) << application->standardError();
    EXPECT_TRUE(serverAnswers(server.port));
    EXPECT_EQ(serverLaunches(1).size(), 1U) << "the server was never started again";
    EXPECT_TRUE(application->isRunning());
}

INSTANTIATE_TEST_SUITE_P(Every, DeathOf,
                         ::testing::Values("zorvane-window", "WebKitWebProcess",
                                           "WebKitNetworkProcess", "bwrap"),
                         [](const auto& test) {
                             std::string name = test.param;
                             std::erase(name, '-');
                             return name;
                         });

TEST_F(DeathTest, ofTheWindowProgramThreeTimesInAMinuteLeavesTheWindowClosedUntilItIsAskedFor) {
    launchUntilReady();
    for (int death = 1; death <= 3; ++death) {
        ASSERT_TRUE(windowAppears()) << application->standardError();
        std::vector<Process> before;
        ASSERT_TRUE(eventually([&] {
            before = processesNamed("zorvane-window"); // an orphan may still be called so
            return before.size() == 1;
        })) << describe(before);
        ::kill(before.front().pid, SIGABRT);
        ASSERT_TRUE(eventually([&] {
            const auto now = processesNamed("zorvane-window");
            return now.empty() || now.front().pid != before.front().pid;
        }));
    }
    EXPECT_TRUE(eventually([&] { return logged("the window stays closed") == 1; }))
        << application->standardError();
    EXPECT_FALSE(window().has_value());
    EXPECT_TRUE(serverAnswers(serverLaunches(1).front().port));
    askForTheWindow();
    EXPECT_TRUE(windowAppears()) << application->standardError();
    EXPECT_TRUE(showsTheServersPage());
    EXPECT_EQ(logged("the window stays closed"), 1U);
}

TEST_F(DeathTest, bubblewrapThatMakesNoNamespacesMeansPagesWithoutASandbox) {
    session.useInsteadOfBubblewrap(
        "#!/bin/sh\necho 'bwrap: No permissions to create a new namespace' >&2\n"
        "exit 1\n");
    launchUntilReady();
    EXPECT_TRUE(showsTheServersPage()) << application->standardError();
    EXPECT_EQ(logged("pages run without a sandbox: bwrap: No permissions to create a new "
                     "namespace\n"),
              1U)
        << application->standardError();
    EXPECT_TRUE(processesNamed("bwrap").empty());
}

// Nor does whoever kills it, or the half of it that is inside, while it is asked.
TEST_F(DeathTest, bubblewrapThatIsKilledWhileItIsAskedIsUsedAllTheSame) {
    const std::filesystem::path real = session.folder() / "real-bwrap";
    std::filesystem::copy_file("/usr/bin/bwrap", real);
    for (const std::string killed : {"kill -KILL $$", "exit 137"}) {
        session.useInsteadOfBubblewrap("#!/bin/sh\n[ \"$1\" = --unshare-user ] && " + killed +
                                       "\nexec " + real.string() + " \"$@\"\n");
        launchUntilReady();
        EXPECT_TRUE(showsTheServersPage()) << application->standardError();
        EXPECT_EQ(logged("without a sandbox"), 0U) << application->standardError();
        EXPECT_FALSE(processesNamed("real-bwrap").empty()) << describe(session.processes());
        application->signal(SIGTERM);
        EXPECT_EQ(application->waitForExit(patience), 0);
    }
}

// Bubblewrap's second process waits for the first, whatever becomes of that one.
TEST_F(DeathTest, whileBubblewrapIsAskedLeavesNothing) {
    session.useInsteadOfBubblewrap("#!/bin/sh\nsleep 1000 &\nwait\n");
    for (const bool windowFirst : {true, false}) {
        application = launch();
        ASSERT_TRUE(eventually([&] { return !processesNamed("sleep").empty(); }));
        ASSERT_TRUE(!windowFirst || killOne("zorvane-window")) << describe(session.processes());
        application->signal(SIGKILL);
        EXPECT_TRUE(application->waitForExit(std::chrono::seconds(10)).has_value());
        EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
    }
}

TEST_F(DeathTest, bubblewrapThatDoesNotSayWhetherItWorksMeansPagesWithoutASandbox) {
    session.useInsteadOfBubblewrap("#!/bin/sh\nexec sleep 1000\n");
    launchUntilReady();
    EXPECT_TRUE(showsTheServersPage()) << application->standardError();
    EXPECT_EQ(logged("pages run without a sandbox: bubblewrap does not answer"), 1U)
        << application->standardError();
    EXPECT_EQ(logged("is started again"), 0U) << "the engine was not even asked to use it";
}

TEST_F(DeathTest, bubblewrapThatHangsHoldsUpNeitherASecondLaunchNorAnEnd) {
    const std::filesystem::path hangs = session.folder() / "hangs";
    session.useInsteadOfBubblewrap("#!/bin/sh\n[ \"$1\" = --unshare-user ] && exit 0\n: > '" +
                                   hangs.string() + "'\nexec sleep 1000\n");
    application = launch();
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(hangs); }))
        << application->standardError();
    askForTheWindow();
    const Stopwatch stopwatch;
    application->signal(SIGTERM);
    EXPECT_EQ(application->waitForExit(patience), 0) << application->standardError();
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
    EXPECT_TRUE(stopwatch.within(std::chrono::seconds(8)));
}

// It passes the question before the first view, and then never starts what it is asked to.
TEST_F(DeathTest, bubblewrapThatHangsIsGivenUp) {
    session.useInsteadOfBubblewrap(
        "#!/bin/sh\n[ \"$1\" = --unshare-user ] && exit 0\nexec sleep 1000\n");
    application = launch();
    ASSERT_FALSE(serverLaunches(1).empty());
    const ServerLaunch server = serverLaunches(1).front();
    ASSERT_TRUE(windowAppears()) << application->standardError();
    EXPECT_EQ(logged("does not answer"), 0U) << "the window waited for the engine";
    ASSERT_TRUE(eventually([&] { return serverAnswers(server.port); }));
    EXPECT_TRUE(showsTheServersPage()) << application->standardError();
    EXPECT_EQ(logged("pages run without a sandbox: bubblewrap does not answer"), 1U)
        << application->standardError();
    application->signal(SIGTERM);
    EXPECT_EQ(application->waitForExit(std::chrono::seconds(24)), 0);
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

// Whoever killed a part of it says nothing about a sandbox that has worked.
TEST_F(DeathTest, bubblewrapThatHangsOnceAfterItHasWorkedIsUsedAgain) {
    const std::filesystem::path real = session.folder() / "real-bwrap";
    std::filesystem::copy_file("/usr/bin/bwrap", real);
    const std::filesystem::path hang = session.folder() / "hang";
    session.useInsteadOfBubblewrap("#!/bin/sh\n[ \"$1\" = --unshare-user ] || ! rm '" +
                                   hang.string() + "' 2> /dev/null || exec sleep 1000\nexec " +
                                   real.string() + " \"$@\"\n");
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage()) << application->standardError();
    std::ofstream(hang).close();
    ASSERT_TRUE(killOne("zorvane-window")) << describe(session.processes());
    ASSERT_TRUE(eventually([&] { return logged("does not answer and is started again") == 1; }))
        << application->standardError();
    EXPECT_TRUE(showsTheServersPage()) << application->standardError();
    EXPECT_EQ(logged("without a sandbox"), 0U) << application->standardError();
    EXPECT_FALSE(processesNamed("real-bwrap").empty()) << describe(session.processes());
}

} // namespace
} // namespace desktop
