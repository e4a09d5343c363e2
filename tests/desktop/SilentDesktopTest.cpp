// A display or a session bus that is there and does not answer: an end waits for neither.
#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/Stopwatch.h"

#include <csignal>

namespace desktop {
namespace {

class SilentDesktop : public ApplicationTest {
  protected:
    void TearDown() override {
        session.signalDisplay(SIGCONT); // for the evidence
        session.signalBus(SIGCONT);
        ApplicationTest::TearDown();
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

} // namespace
} // namespace desktop
