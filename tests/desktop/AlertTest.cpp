// Modal alerts on a real desktop, answered by keyboard and mouse.
#include "tests/desktop/session/DesktopSession.h"
#include "tests/desktop/session/Waiting.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

namespace desktop {
namespace {

using ::testing::ElementsAre;

constexpr const char* question = "Move it";

class AlertTest : public ::testing::Test {
  protected:
    void TearDown() override {
        if (HasFailure()) {
            const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
            session.keepEvidence(ZORVANE_FAILURES_DIR, fmt::format("AlertTest.{}", test->name()));
        }
    }

    void ask(std::vector<std::string> arguments = {}, const char* kind = "--alert") {
        arguments.insert(arguments.begin(), {ZORVANE_PROBE, kind, question});
        probe = session.start(arguments, "probe");
        ASSERT_TRUE(eventually([&] { return session.visibleWindow(question).has_value(); }))
            << probe->standardError();
        alert = *session.visibleWindow(question);
        session.focus(alert);
    }

    bool says(const std::string& line) {
        return eventually([&] {
            const auto said = lines();
            return std::ranges::find(said, line) != said.end();
        });
    }

    [[nodiscard]] std::vector<std::string> lines() const {
        std::istringstream output(probe->standardOutput());
        std::vector<std::string> said;
        for (std::string line; std::getline(output, line);) {
            said.push_back(line);
        }
        return said;
    }

    // The three buttons share the alert's lowest part evenly, the first at the right.
    void click(int button) {
        const WindowGeometry geometry = session.geometry(alert);
        const int x = geometry.x + geometry.width * (2 * (2 - button) + 1) / 6;
        const int y = geometry.y + geometry.height - 40;
        const auto mouse = session.start(
            {"xdotool", "mousemove", std::to_string(x), std::to_string(y), "click", "1"}, "mouse");
        EXPECT_EQ(mouse->waitForExit(patience), 0);
    }

    bool goes() {
        return eventually([&] { return !session.visibleWindow(question).has_value(); });
    }

    DesktopSession session;
    std::unique_ptr<Program> probe;
    std::string alert;
};

TEST_F(AlertTest, isAnsweredWithItsFirstButtonByReturn) {
    ask();
    session.pressKey("Return");
    EXPECT_TRUE(says("answered 0"));
    EXPECT_TRUE(goes());
    EXPECT_TRUE(probe->isRunning());
}

TEST_F(AlertTest, isAnsweredWithItsLastButtonByEscape) {
    ask();
    session.pressKey("Escape");
    EXPECT_TRUE(says("answered 2"));
    EXPECT_TRUE(goes());
}

TEST_F(AlertTest, isAnsweredWithItsLastButtonWhenTheWindowManagerClosesIt) {
    ask();
    session.close(alert);
    EXPECT_TRUE(says("answered 2"));
    EXPECT_TRUE(goes());
}

TEST_F(AlertTest, isAnsweredByAClickOnEachButton) {
    for (int button = 0; button < 3; ++button) {
        ask();
        click(button);
        EXPECT_TRUE(says(fmt::format("answered {}", button)));
        EXPECT_TRUE(goes());
        probe->signal(SIGTERM);
        ASSERT_EQ(probe->waitForExit(patience), 0);
    }
}

TEST_F(AlertTest, hasAConfirmingButtonWhenItIsGivenNone) {
    ask({}, "--plain-alert");
    session.pressKey("Return");
    EXPECT_TRUE(says("answered 0"));
}

TEST_F(AlertTest, letsTheMainQueueRunAndBlocksItsCaller) {
    ask({"--window", "probe"});
    EXPECT_TRUE(says("a task ran"));
    EXPECT_FALSE(session.visibleWindow("probe"));
    session.pressKey("Return");
    EXPECT_TRUE(eventually([&] { return session.visibleWindow("probe").has_value(); }));
    EXPECT_THAT(lines(), ElementsAre("launched", "a task ran", "answered 0"));
}

TEST_F(AlertTest, isAnsweredForTheUserBeforeTheApplicationEnds) {
    ask();
    probe->signal(SIGTERM);
    EXPECT_EQ(probe->waitForExit(patience), 0);
    EXPECT_THAT(lines(),
                ElementsAre("launched", "a task ran", "should terminate, aevt quit why logo",
                            "answered 2", "will terminate, aevt quit why logo", "returned 0"));
}

TEST_F(AlertTest, isAnsweredWithItsLastButtonWhenTheProgramThatShowsItDies) {
    ask({"--window", "probe"});
    for (const Process& process : session.processes()) {
        if (process.command.find("zorvane-window") != std::string::npos) {
            ::kill(process.pid, SIGKILL);
        }
    }
    EXPECT_TRUE(says("answered 2"));
    // The caller goes on: it shows its window.
    EXPECT_TRUE(eventually([&] { return session.visibleWindow("probe").has_value(); }));
}

TEST_F(AlertTest, staysWhenTheApplicationRefusesToEnd) {
    ask({"--refuse"});
    session.pressKey("ctrl+q");
    ASSERT_TRUE(says("should terminate, no event"));
    EXPECT_TRUE(session.visibleWindow(question).has_value());
    session.pressKey("Return");
    EXPECT_TRUE(says("answered 0"));
    EXPECT_TRUE(probe->isRunning());
}

TEST_F(AlertTest, comesToTheFrontOnASecondLaunch) {
    ask();
    auto other =
        session.start({ZORVANE_PROBE, "--id", "test.zorvane.other", "--window", "other"}, "other");
    ASSERT_TRUE(eventually([&] { return session.visibleWindow("other").has_value(); }));
    session.focus(*session.visibleWindow("other"));
    const auto second = session.start({ZORVANE_PROBE}, "second");
    EXPECT_EQ(second->waitForExit(patience), 0);
    EXPECT_TRUE(eventually([&] { return session.activeWindow() == alert; }));
}

} // namespace
} // namespace desktop
