// cocoa-host-session COMMAND...: runs the command with a home folder and a display of its own, and
// ends with its status. What GNUstep started meanwhile (its notification and pasteboard servers)
// comes back to this process when its parent ends, and is ended by its process id; then the folder
// is removed. A descendant that is none of these is named, and the session fails.
#include "tests/desktop/session/ProcessTree.h"
#include "tests/desktop/session/Program.h"
#include "tests/desktop/session/Waiting.h"
#include "tests/support/temporary/TemporaryFolder.h"

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using desktop::Process;
using desktop::Program;

std::string displayOf(const Program& server) {
    std::string output;
    const bool ready = desktop::eventually([&] {
        output = server.standardOutput();
        return output.ends_with('\n');
    });
    if (!ready) {
        throw std::runtime_error("Xvfb did not start: " + server.standardError());
    }
    output.pop_back();
    return ":" + output;
}

int run(char** command) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::execvp(command[0], command);
        std::perror(command[0]);
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) {
        fmt::print(stderr, "{} was ended by signal {}\n", command[0], WTERMSIG(status));
        return 1;
    }
    return WEXITSTATUS(status);
}

bool isGnustepServer(const Process& process) {
    return process.command.find("gdnc") != std::string::npos ||
           process.command.find("gpbs") != std::string::npos;
}

bool endWhatIsLeft(pid_t display) {
    std::vector<Process> strangers;
    for (const Process& process : desktop::descendants({display})) {
        if (!isGnustepServer(process)) {
            strangers.push_back(process);
        }
        ::kill(process.pid, SIGKILL);
    }
    (void)desktop::eventually([&] { return desktop::descendants({display}).empty(); });
    if (!strangers.empty()) {
        fmt::print(stderr, "left behind:\n{}", desktop::describe(strangers));
    }
    return strangers.empty();
}

int runSession(char** command) {
    desktop::adoptOrphans();
    const test_support::TemporaryFolder folder;
    std::filesystem::create_directory(folder / "home");
    std::filesystem::create_directory(folder / "temporary");
    Program display(
        {"Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp", "-noreset"},
        {{"PATH", std::getenv("PATH")}}, folder / "display");
    ::setenv("DISPLAY", displayOf(display).c_str(), 1);
    ::setenv("HOME", (folder / "home").c_str(), 1);
    // GNUstep keeps locks there that all programs of a user share.
    for (const char* variable : {"TMPDIR", "TMP", "TEMP"}) {
        ::setenv(variable, (folder / "temporary").c_str(), 1);
    }
    ::setenv("LOGNAME", "tester", 1);
    ::setenv("USER", "tester", 1);
    ::setenv("LANG", "C.UTF-8", 1);
    ::setenv("LD_PRELOAD", COCOA_HOST_USER_DATABASE, 1);
    // GNUstep keeps much until the end, and the toolkits of the display more.
    ::setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    const int status = run(command);
    ::unsetenv("LD_PRELOAD");
    return endWhatIsLeft(display.pid()) ? status : 1;
}

} // namespace

int main(int count, char** arguments) {
    if (count < 2) {
        fmt::print(stderr, "usage: {} COMMAND...\n", arguments[0]);
        return 64;
    }
    try {
        return runSession(arguments + 1);
    } catch (const std::exception& failure) {
        fmt::print(stderr, "{}\n", failure.what());
        return 1;
    }
}
