// What the application's executable does before the application is loaded: it starts the window
// program when this launch shows a window, and nothing otherwise. Beside it lies a window program
// that says that it was started, and no application.
#include "platform/posix/InstanceLock.h"
#include "tests/desktop/ApplicationTest.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace desktop {
namespace {

namespace fs = std::filesystem;
using ::testing::StartsWith;

class Start : public ApplicationTest {
  protected:
    Start() {
        fs::create_directory(programs);
        fs::copy(ZORVANE_APPLICATION, programs / "Zorvane");
        const fs::path window = programs / "zorvane-window";
        std::ofstream(window) << "#!/bin/sh\necho \"$@\" > '" << started.string()
                              << "'\nexec sleep 1000\n";
        fs::permissions(window, fs::perms::owner_all);
    }

    void startsWithoutItsApplication(const std::vector<std::string>& arguments = {}) {
        std::vector<std::string> command = {programs / "Zorvane"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const auto program = session.start(command, "start");
        EXPECT_EQ(program->waitForExit(patience), 1);
        EXPECT_THAT(
            program->standardError(),
            StartsWith("Zorvane cannot start: " + (programs / "zorvane-application.so").string()));
    }
    [[nodiscard]] bool startedAWindow() const { return fs::exists(started); }

    const fs::path programs = session.folder() / "programs";
    const fs::path started = session.folder() / "started";
};

// Who loads a file that is a named pipe waits until somebody writes to it.
TEST_F(Start, beginsWithTheWindowProgramAndLeavesNoneWithoutTheApplication) {
    const fs::path module = programs / "zorvane-application.so";
    ASSERT_EQ(::mkfifo(module.c_str(), 0600), 0);
    const auto program = session.start({programs / "Zorvane"}, "start");
    EXPECT_TRUE(eventually([&] { return startedAWindow(); })) << program->standardError();
    EXPECT_TRUE(eventually([&] { return readFile(started) == "app.zorvane\n"; }));
    std::ofstream(module).close();
    EXPECT_EQ(program->waitForExit(patience), 1);
    EXPECT_THAT(program->standardError(), StartsWith("Zorvane cannot start: " + module.string()));
    EXPECT_TRUE(eventually([&] { return session.processes().empty(); }))
        << describe(session.processes());
}

TEST_F(Start, withArgumentsStartsNoWindowProgram) {
    startsWithoutItsApplication({"--version"});
    EXPECT_FALSE(startedAWindow());
}

TEST_F(Start, withoutADisplayStartsNoWindowProgram) {
    session.environment.erase("DISPLAY");
    startsWithoutItsApplication();
    EXPECT_FALSE(startedAWindow());
}

TEST_F(Start, besideAnInstanceThatRunsStartsNoWindowProgram) {
    platform::posix::InstanceLock running(session.dataHome() / "app.zorvane");
    ASSERT_EQ(running.claim("", std::chrono::seconds(1)),
              platform::posix::InstanceLock::Outcome::held);
    startsWithoutItsApplication();
    EXPECT_FALSE(startedAWindow());
}

} // namespace
} // namespace desktop
