// tools/run without a display: it brings its own, says where the server is, and on a signal stops
// everything that it started.
#include "tests/desktop/ApplicationTest.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstring>
#include <regex>

namespace desktop {
namespace {

using ::testing::HasSubstr;

class RunScript : public ApplicationTest, public ::testing::WithParamInterface<int> {
  protected:
    void SetUp() override {
        for (const char* name : {"DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "GSK_RENDERER",
                                 "WEBKIT_DISABLE_DMABUF_RENDERER", "OSTRA_DEV_NO_MOVE"}) {
            session.environment.erase(name);
        }
        session.environment["ZORVANE_EXECUTABLE"] = ZORVANE_APPLICATION;
    }

    // The port the script announces.
    std::optional<int> announcedPort() {
        const std::regex line(R"(Zorvane's server: http://127\.0\.0\.1:(\d+)/\n)");
        std::smatch match;
        std::string said;
        const bool announced = eventually([&] {
            said = application->standardOutput();
            return std::regex_search(said, match, line);
        });
        return announced ? std::optional(std::stoi(match[1])) : std::nullopt;
    }
};

TEST_P(RunScript, stopsAllThatItStartedOnASignal) {
    application = session.start({ZORVANE_RUN_SCRIPT}, "application-1");
    const auto port = announcedPort();
    ASSERT_TRUE(port) << application->standardOutput() << application->standardError();
    EXPECT_TRUE(serverAnswers(*port));
    EXPECT_THAT(application->standardOutput(), HasSubstr("No display"));
    EXPECT_EQ(processesNamed("Xvfb").size(), 1U);
    EXPECT_FALSE(processesNamed("dbus-daemon").empty()) << describe(session.processes());

    application->signal(GetParam());
    EXPECT_EQ(application->waitForExit(patience), 0) << application->standardError();
    EXPECT_FALSE(serverAnswers(*port));
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

INSTANTIATE_TEST_SUITE_P(Every, RunScript, ::testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto& test) {
                             return std::string("SIG") + ::sigabbrev_np(test.param);
                         });

TEST_F(RunScript, endsWithTheApplicationAndItsStatus) {
    session.environment["OSTRA_SIDECAR"] = "/nonexistent";
    application = session.start({ZORVANE_RUN_SCRIPT}, "application-1");
    ASSERT_TRUE(eventually([&] { return processesNamed("Zorvane").size() == 1; }));
    ASSERT_TRUE(eventually([&] { return !processesNamed("WebKitNetworkProcess").empty(); }));
    ::kill(processesNamed("Zorvane").front().pid, SIGKILL);
    EXPECT_EQ(application->waitForExit(patience), 128 + SIGKILL);
    EXPECT_TRUE(nothingIsLeft()) << describe(session.processes());
}

TEST_F(RunScript, passesArgumentsOnAndStartsNoDisplayToTellTheVersion) {
    application = session.start({ZORVANE_RUN_SCRIPT, "--version"}, "application-1");
    EXPECT_EQ(application->waitForExit(patience), 0);
    EXPECT_THAT(application->standardOutput(), ::testing::StartsWith("Zorvane"));
}

} // namespace
} // namespace desktop
