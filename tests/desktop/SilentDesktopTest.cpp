// A display or a session bus that is there and does not answer: an end waits for neither, and the
// server's comes first.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/PageServer.h"
#include "tests/desktop/session/Stopwatch.h"

#include <gmock/gmock.h>

#include <csignal>

namespace desktop {
namespace {

using ::testing::ElementsAre;

class SilentDesktop : public ApplicationTest {
  protected:
    void TearDown() override {
        session.signalDisplay(SIGCONT); // for the evidence
        session.signalBus(SIGCONT);
        ApplicationTest::TearDown();
    }
    void launchUntilTheServerAnswers() {
        application = launch();
        const std::vector<ServerLaunch> launches = serverLaunches(1);
        ASSERT_FALSE(launches.empty()) << application->standardError();
        EXPECT_TRUE(eventually([&] { return serverAnswers(launches.front().port); }));
    }
    void expectAnOrderlyEnd() {
        const ServerLaunch server = serverLaunches(1).front();
        const Stopwatch stopwatch;
        application->signal(SIGTERM);
        EXPECT_EQ(application->waitForExit(patience), 0) << application->standardError();
        EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
        EXPECT_TRUE(stopwatch.within(std::chrono::seconds(8)));
        EXPECT_NE(::kill(server.pid, 0), 0);
    }
};

TEST_F(SilentDesktop, ofADisplayThatDoesNotAnswerHoldsUpNoEnd) {
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    session.signalDisplay(SIGSTOP);
    expectAnOrderlyEnd();
}

TEST_F(SilentDesktop, ofABusThatDoesNotAnswerHoldsUpNoEnd) {
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    session.signalBus(SIGSTOP);
    expectAnOrderlyEnd();
}

TEST_F(SilentDesktop, ofBothHoldsUpNoEnd) {
    launchUntilReady();
    session.signalBus(SIGSTOP);
    session.signalDisplay(SIGSTOP);
    expectAnOrderlyEnd();
}

TEST_F(SilentDesktop, ofABusThatDoesNotAnswerHoldsUpNoServer) {
    session.signalBus(SIGSTOP);
    ASSERT_NO_FATAL_FAILURE(launchUntilTheServerAnswers());
    EXPECT_EQ(logged("the session bus does not answer"), 1U);
    expectAnOrderlyEnd();
}

TEST_F(SilentDesktop, ofADisplayThatDoesNotAnswerHoldsUpNoServer) {
    session.signalDisplay(SIGSTOP);
    ASSERT_NO_FATAL_FAILURE(launchUntilTheServerAnswers());
    expectAnOrderlyEnd();
}

// The toolkit would wait for it without end.
TEST_F(SilentDesktop, ofABusThatDoesNotAnswerHoldsUpNoWindow) {
    session.signalBus(SIGSTOP);
    application = launch();
    ASSERT_TRUE(windowAppears()) << application->standardError();
    EXPECT_TRUE(showsTheServersPage()) << application->standardError();
    EXPECT_EQ(logged("waits for the session bus and is started again without it"), 1U);
    expectAnOrderlyEnd();
}

// The window program waits for the display, and nobody is left to kill it.
TEST_F(SilentDesktop, leavesNothingOfAnApplicationThatIsKilled) {
    launchUntilReady();
    ASSERT_TRUE(showsTheServersPage());
    session.signalDisplay(SIGSTOP);
    application->signal(SIGKILL);
    EXPECT_EQ(application->waitForExit(patience), -SIGKILL);
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

TEST_F(SilentDesktop, hasTheServerEndBeforeEverythingElse) {
    const PageServer server(session.folder());
    session.environment["OSTRA_SIDECAR"] = server.program();
    launchUntilReady();
    ASSERT_TRUE(eventually([&] { return !server.asked().empty(); }));
    const auto windows = processesNamed("zorvane-window");
    ASSERT_EQ(windows.size(), 1U);
    server.watch({application->pid(), windows.front().pid});
    session.signalBus(SIGSTOP);
    session.signalDisplay(SIGSTOP);
    const Stopwatch stopwatch;
    application->signal(SIGTERM);
    ASSERT_TRUE(eventually([&] { return server.seenAtItsEnd().has_value(); }))
        << application->standardError();
    EXPECT_TRUE(stopwatch.within(std::chrono::seconds(1)));
    EXPECT_THAT(*server.seenAtItsEnd(), ElementsAre(application->pid(), windows.front().pid));
    EXPECT_EQ(application->waitForExit(patience), 0) << application->standardError();
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
    EXPECT_TRUE(stopwatch.within(std::chrono::seconds(8)));
}

} // namespace
} // namespace desktop
