// zorvane-launcher-probe GUARDIAN GRACE-MS PROGRAM [ARGUMENT...]: an application that keeps one
// guarded child, for tests that end applications badly. It says "server PID", passes the child's
// output on and then waits for a signal; on SIGUSR1 it returns from main without a word to its
// child, still holding it.
#include "platform/posix/PosixChildLauncher.h"

#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

void say(std::string_view text) {
    [[maybe_unused]] const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
}

} // namespace

int main(int count, char** arguments) {
    if (count < 4) {
        return EXIT_FAILURE;
    }
    const struct rlimit noCore = {.rlim_cur = 0, .rlim_max = 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    sigset_t leave;
    sigemptyset(&leave);
    sigaddset(&leave, SIGUSR1);
    ::sigprocmask(SIG_BLOCK, &leave, nullptr);

    platform::PosixChildLauncher launcher(arguments[1]);
    const auto child =
        launcher.launch({.executable = arguments[3],
                         .arguments = {arguments + 4, arguments + count},
                         .environment = {{"PROBE", std::to_string(::getpid())}},
                         .onOutput = say,
                         .guardianGrace = std::chrono::milliseconds(std::atol(arguments[2])),
                         .markVariable = "PROBE"});
    if (!child) {
        say(child.error().description() + '\n');
        return EXIT_FAILURE;
    }
    say("server " + std::to_string((*child)->pid()) + '\n');
    int received = 0;
    ::sigwait(&leave, &received);
    ::_exit(EXIT_SUCCESS);
}
