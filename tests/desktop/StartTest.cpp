// What the application's executable does before the application is loaded: it starts the window
// program when this launch shows a window, and nothing otherwise. Beside it lies a window program
// that says that it was started, and no application.
#include "platform/posix/InstanceLock.h"
#include "tests/desktop/ApplicationTest.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
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

    // Whether a window program runs when the application is about to be loaded. Who loads a file
    // that is a named pipe waits until somebody writes to it; this one holds no application.
    [[nodiscard]] bool startsAWindow(const std::vector<std::string>& arguments = {}) {
        const fs::path module = programs / "zorvane-application.so";
        EXPECT_EQ(::mkfifo(module.c_str(), 0600), 0);
        std::vector<std::string> command = {programs / "Zorvane"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const auto program = session.start(command, "start");
        int writeEnd = -1;
        EXPECT_TRUE(eventually([&] {
            writeEnd = ::open(module.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            return writeEnd >= 0;
        })) << program->standardError();
        const bool starts = std::ranges::any_of(session.processes(), [&](const auto& process) {
            return process.pid != program->pid();
        });
        EXPECT_TRUE(!starts || eventually([&] { return readFile(started) == "app.zorvane\n"; }));
        ::close(writeEnd);
        EXPECT_EQ(program->waitForExit(patience), 1);
        EXPECT_THAT(program->standardError(),
                    StartsWith("Zorvane cannot start: " + module.string()));
        EXPECT_TRUE(eventually([&] { return session.processes().empty(); }))
            << describe(session.processes());
        return starts;
    }

    const fs::path programs = session.folder() / "programs";
    const fs::path started = session.folder() / "started";
};

TEST_F(Start, beginsWithTheWindowProgramAndLeavesNoneWithoutTheApplication) {
    EXPECT_TRUE(startsAWindow());
}

TEST_F(Start, withArgumentsStartsNoWindowProgram) {
    EXPECT_FALSE(startsAWindow({"--version"}));
}

TEST_F(Start, withoutADisplayStartsNoWindowProgram) {
    session.environment.erase("DISPLAY");
    EXPECT_FALSE(startsAWindow());
}

TEST_F(Start, besideAnInstanceThatRunsStartsNoWindowProgram) {
    platform::posix::InstanceLock running(session.dataHome() / "app.zorvane");
    ASSERT_EQ(running.claim("", std::chrono::seconds(1)),
              platform::posix::InstanceLock::Outcome::held);
    EXPECT_FALSE(startsAWindow());
}

// The next thing that is opened would be there, and get what is written: the window's connection.
TEST_F(Start, withStandardErrorClosedHasNothingElseInItsPlace) {
    std::ofstream(programs / "zorvane-window")
        << "#!/bin/sh\nreadlink /proc/$$/fd/2 > '" << started.string() << "'\nexec sleep 1000\n";
    ASSERT_EQ(::mkfifo((programs / "zorvane-application.so").c_str(), 0600), 0);
    const auto program =
        session.start({"/bin/sh", "-c", "exec \"$0\" 2>&-", programs / "Zorvane"}, "start");
    EXPECT_TRUE(eventually([&] { return readFile(started) == "/dev/null\n"; }))
        << readFile(started);
    program->signal(SIGKILL);
    EXPECT_TRUE(program->waitForExit(patience).has_value());
    EXPECT_TRUE(eventually([&] { return session.processes().empty(); }))
        << describe(session.processes());
}

} // namespace
} // namespace desktop
