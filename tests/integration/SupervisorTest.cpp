#include "mac/OstraCore/SidecarConfig.h"
#include "mac/Zorvane/ServerSupervisor.h"
#include "tests/support/processes/ProcessTable.h"
#include "tests/support/realsystem/RealSystem.h"
#include "tests/support/testchild/TestChild.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

namespace zorvane {
namespace {

using namespace std::chrono_literals;
using State = ServerSupervisor::State;
using Running = ServerSupervisor::Running;
using Stopped = ServerSupervisor::Stopped;
using Failed = ServerSupervisor::Failed;
using testing::HasSubstr;

// Seconds of the product pass ten times as fast, so that its ten are one of ours.
constexpr int timeFactor = 10;

class ThreadSafeLog final : public platform::Log {
  public:
    void write(std::string_view message) override {
        const std::lock_guard lock(mutex_);
        log_.write(message);
    }
    void writeLines(std::string_view prefix, std::span<const std::string_view> lines) override {
        const std::lock_guard lock(mutex_);
        log_.writeLines(prefix, lines);
    }
    [[nodiscard]] std::vector<std::string> lines() const {
        const std::lock_guard lock(mutex_);
        return log_.lines;
    }
    // What follows the prefix in the first line that starts with it; empty while there is none.
    [[nodiscard]] std::string after(std::string_view prefix) const {
        for (const std::string& line : lines()) {
            if (line.starts_with(prefix)) {
                return line.substr(prefix.size());
            }
        }
        return {};
    }

  private:
    mutable std::mutex mutex_;
    platform::testing::RecordingLog log_;
};

bool isAlive(pid_t pid) {
    return ::kill(pid, 0) == 0;
}

mode_t modeOf(const std::filesystem::path& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

class SupervisorIntegrationTest : public testing::Test, public test_support::RealSystem {
  protected:
    ThreadSafeLog log;
    std::vector<State> states;
    std::shared_ptr<ServerSupervisor> supervisor;

    SupervisorIntegrationTest()
        : RealSystem(timeFactor) {}

    void TearDown() override {
        if (supervisor) {
            supervisor->stopSync();
        }
    }

    void supervise(const std::filesystem::path& server, const std::string& cues) {
        platform::Environment environment = platform::currentEnvironment();
        environment["OSTRA_SIDECAR"] = server;
        environment["ZORVANE_TESTCHILD"] = cues;
        supervisor = ServerSupervisor::create(supervisorFacilities(log), std::move(environment));
        supervisor->onStateChange = [this](const State& state) { states.push_back(state); };
        supervisor->start();
    }
    bool waitForLine(std::string_view prefix) {
        return time.runUntil([&] { return !log.after(prefix).empty(); });
    }
    // Only complete lines are logged, so a number that is there is whole.
    pid_t pidAfter(std::string_view prefix) {
        return waitForLine(prefix) ? std::stoi(log.after(prefix)) : -1;
    }
    pid_t childPid() { return pidAfter("ostrad spawned (pid "); }
    bool waitForRunning() {
        return time.runUntil([&] { return std::holds_alternative<Running>(supervisor->state()); });
    }
    std::uint16_t port() { return std::get<Running>(supervisor->state()).port; }
};

TEST_F(SupervisorIntegrationTest, runsARealServerAndStopsIt) {
    supervise(testchild::path(), "health=ok");
    ASSERT_TRUE(waitForRunning());
    const pid_t pid = childPid();
    EXPECT_TRUE(isAlive(pid));
    bool completed = false;
    supervisor->stop([&] { completed = true; });
    ASSERT_TRUE(time.runUntil([&] { return completed; }));
    EXPECT_TRUE(time.runUntil([&] { return !isAlive(pid); })) << "exited and reaped";
    EXPECT_EQ(supervisor->state(), State(Stopped{}));
}

TEST_F(SupervisorIntegrationTest, logsWhatTheChildPrintsAndRunsItUnderAPrivateMask) {
    const mode_t before = ::umask(0);
    ::umask(before);
    supervise(testchild::path(), "umask print=hello-there health=ok");
    ASSERT_TRUE(waitForLine("[ostrad] hello-"));
    EXPECT_THAT(log.lines(), testing::Contains("[ostrad] umask " + std::to_string(077)));
    const mode_t after = ::umask(before);
    EXPECT_EQ(after, before);
}

TEST_F(SupervisorIntegrationTest, tightensFoldersAndFilesThatExistedWithLooserModes) {
    const auto base = folder / "support" / "app.zorvane";
    std::filesystem::create_directories(base / "plugins");
    for (const auto& loose : {base, base / "plugins"}) {
        ASSERT_EQ(::chmod(loose.c_str(), 0755), 0);
    }
    for (const char* name : {"library.db", "library.db-wal"}) {
        std::ofstream(base / name) << "x";
        ASSERT_EQ(::chmod((base / name).c_str(), 0644), 0);
    }
    supervise(testchild::path(), "health=ok");
    EXPECT_EQ(modeOf(base), 0700U);
    EXPECT_EQ(modeOf(base / "plugins"), 0700U);
    EXPECT_EQ(modeOf(base / "artwork"), 0700U);
    EXPECT_EQ(modeOf(base / "library.db"), 0600U);
    EXPECT_EQ(modeOf(base / "library.db-wal"), 0600U);
    EXPECT_FALSE(std::filesystem::exists(base / "library.db-shm"));
}

TEST_F(SupervisorIntegrationTest, restartsAKilledServerAfterTheThrottle) {
    supervise(testchild::path(), "health=ok");
    ASSERT_TRUE(waitForRunning());
    const auto launched = time.clock().now();
    ASSERT_EQ(::kill(childPid(), SIGKILL), 0);
    ASSERT_TRUE(time.runUntil([&] { return std::holds_alternative<Failed>(states.back()); }));
    EXPECT_EQ(states.back(), State(Failed{"server exited (status 9); restarting"}));
    states.clear();
    ASSERT_TRUE(waitForRunning());
    EXPECT_GE(time.clock().now() - launched, 5s) << "launches are ten seconds apart";
}

TEST_F(SupervisorIntegrationTest,
       startsAnewWhenTheGuardianWasKilledAndLeavesNothingOfTheOldServer) {
    supervise(testchild::path(), "fork-away=drop health=ok");
    ASSERT_TRUE(waitForRunning());
    const process_test::Watched server(childPid());
    const process_test::Watched escaped(pidAfter("[ostrad] grandchild "));
    ASSERT_EQ(::kill(process_test::parentOf(server.pid()), SIGKILL), 0);
    ASSERT_TRUE(time.runUntil([&] { return std::holds_alternative<Failed>(states.back()); }));
    EXPECT_EQ(states.back(), State(Failed{"server exited (status 9); restarting"}));
    EXPECT_FALSE(server.lives());
    EXPECT_TRUE(escaped.ends());
    EXPECT_TRUE(waitForRunning());
}

TEST_F(SupervisorIntegrationTest, reportsTheExitCodeOfAServerThatGivesUp) {
    supervise(testchild::path(), "exit=3");
    ASSERT_TRUE(time.runUntil([&] { return states.size() >= 2; }));
    EXPECT_EQ(states[1], State(Failed{"server exited (status 3); restarting"}));
}

TEST_F(SupervisorIntegrationTest, killsAServerThatIgnoresTerminationWithItsGrandchildren) {
    supervise(testchild::path(), "ignore-term fork=hold health=ok");
    ASSERT_TRUE(waitForRunning());
    const pid_t pid = childPid();
    const pid_t grandchild = pidAfter("[ostrad] grandchild ");
    ASSERT_GT(grandchild, 0);
    const auto asked = time.clock().now();
    bool completed = false;
    supervisor->stop([&] { completed = true; });
    ASSERT_TRUE(time.runUntil([&] { return completed; }));
    EXPECT_GE(time.clock().now() - asked, 6s);
    EXPECT_TRUE(time.runUntil([&] { return !isAlive(pid); }));
    EXPECT_TRUE(time.runUntil([&] { return process_test::isGone(grandchild); }));
}

TEST_F(SupervisorIntegrationTest, endsAStoppedServer) {
    supervise(testchild::path(), "health=ok");
    ASSERT_TRUE(waitForRunning());
    const pid_t pid = childPid();
    ASSERT_EQ(::kill(pid, SIGSTOP), 0);
    supervisor->stopSync();
    EXPECT_TRUE(time.runUntil([&] { return !isAlive(pid); }));
}

TEST_F(SupervisorIntegrationTest, saysWhyAnOverrideCannotBeLaunched) {
    supervise("/nowhere/server", "");
    ASSERT_EQ(states.size(), 1U);
    EXPECT_EQ(states[0],
              State(Failed{"failed to launch ostrad: cannot start /nowhere/server: No such file "
                           "or directory"}));
}

TEST_F(SupervisorIntegrationTest, givesUpOnAServerThatNeverBecomesHealthyAndForgetsItsPort) {
    supervise(testchild::path(), "health=500");
    ASSERT_TRUE(time.runUntil([&] { return std::holds_alternative<Failed>(supervisor->state()); }));
    EXPECT_THAT(std::get<Failed>(supervisor->state()).reason,
                HasSubstr("server never became healthy on port "));
    EXPECT_EQ(defaults.integer(ostra::PortPicker::savedPortKey), 0);
    EXPECT_TRUE(isAlive(childPid())) << "it is left running";
}

TEST_F(SupervisorIntegrationTest, keepsThePortAcrossRestartsOfTheBundledServer) {
    supervise(ZORVANE_OSTRAD_PATH, "");
    ASSERT_TRUE(waitForRunning());
    const std::uint16_t first = port();
    const pid_t pid = childPid();
    // Connections that the server has seen are what could keep its port busy.
    for (int count = 0; count < 20; ++count) {
        bool answered = false;
        platform::HttpRequest request;
        request.url = "http://127.0.0.1:" + std::to_string(first) + "/api/modes";
        http.send(std::move(request), [&](const platform::HttpResult& result) {
            EXPECT_TRUE(result && result->status == 200);
            time.mainQueue().post([&] { answered = true; });
        });
        ASSERT_TRUE(time.runUntil([&] { return answered; }));
    }
    supervisor->restart();
    ASSERT_TRUE(time.runUntil([&] { return !isAlive(pid); }));
    ASSERT_TRUE(waitForRunning());
    EXPECT_EQ(port(), first);
}

TEST_F(SupervisorIntegrationTest, stepsAsideWhenAForeignServerHoldsItsPort) {
    supervise(testchild::path(), "health=ok");
    ASSERT_TRUE(waitForRunning());
    const std::uint16_t held = port();
    platform::testing::InMemoryDefaults others;
    // The child of the first supervisor is the foreign server of this second one.
    const auto picked = [&] {
        others.setInteger(ostra::PortPicker::savedPortKey, held);
        return ostra::PortPicker::pickStablePort(others, ports);
    }();
    ASSERT_TRUE(picked);
    EXPECT_NE(*picked, held);
    EXPECT_EQ(others.integer(ostra::PortPicker::savedPortKey), *picked);
}

class UnhealthyServer : public SupervisorIntegrationTest,
                        public testing::WithParamInterface<const char*> {};

TEST_P(UnhealthyServer, isNotTakenForRunning) {
    supervise(testchild::path(), "health=" + std::string(GetParam()));
    // Until it is given up, or for five tries that use their time-out of half a real second.
    const auto enough = time.clock().now() + 5 * (500ms + 500ms * timeFactor);
    ASSERT_TRUE(time.runUntil([&] { return states.size() > 1 || time.clock().now() >= enough; }));
    if (states.size() > 1) {
        EXPECT_THAT(std::get<Failed>(states[1]).reason, HasSubstr("server never became healthy"));
    }
    EXPECT_FALSE(std::holds_alternative<Running>(supervisor->state()));
}

INSTANTIATE_TEST_SUITE_P(Health, UnhealthyServer,
                         testing::Values("wrong-nonce", "spaced", "bad-utf8", "empty", "204", "500",
                                         "redirect", "hang", "drip", "endless", "reset", "none"));

} // namespace
} // namespace zorvane
