// zorvane-guardian: ends a process group when the application that started it is gone, however
// that ended. It is a member of that group, so the group's id cannot pass to anybody else while it
// watches and a signal to "my own group" always reaches the right processes. Standard input is a
// pipe on which nothing is ever written; its end is the message. The guardian then asks the group
// to stop, gives its leader the time said by --grace-ms, and kills what is left, itself included.
// Nothing but the C library: it has to be small, for it is there as long as the server is.
#include "platform/posix/ExitWatch.h"

#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int usageError = 64; // EX_USAGE of sysexits.h
constexpr long longestGrace = 24L * 3600 * 1000;

long now() {
    timespec time = {};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000L + time.tv_nsec / 1'000'000;
}

// The grace in milliseconds, or -1.
long graceFrom(int count, char** arguments) {
    if (count != 3 || std::strcmp(arguments[1], "--grace-ms") != 0) {
        return -1;
    }
    char* end = nullptr;
    errno = 0;
    const long grace = std::strtol(arguments[2], &end, 10);
    const bool whole = end != arguments[2] && *end == '\0' && errno == 0;
    if (!whole || grace < 0) {
        return -1;
    }
    return grace < longestGrace ? grace : longestGrace;
}

void ignoreSignals() {
    struct sigaction action = {};
    action.sa_handler = SIG_IGN;
    sigemptyset(&action.sa_mask);
    for (int number = 1; number < NSIG; ++number) {
        ::sigaction(number, &action, nullptr);
    }
}

// Blocks until the pipe on standard input has no writer any more.
void waitForTheEndOfTheApplication() {
    for (;;) {
        pollfd input = {.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
        if (::poll(&input, 1, -1) <= 0) {
            continue;
        }
        char byte = 0;
        const ssize_t count = ::read(STDIN_FILENO, &byte, 1);
        if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN)) {
            return;
        }
    }
}

// Returns when the process has exited or the time is over.
void waitForExit(int exitWatch, long milliseconds) {
    const long deadline = now() + milliseconds;
    for (long left = milliseconds; left > 0; left = deadline - now()) {
        pollfd watch = {.fd = exitWatch, .events = POLLIN, .revents = 0};
        if (::poll(&watch, 1, static_cast<int>(left)) > 0) {
            return;
        }
    }
}

} // namespace

int main(int count, char** arguments) {
    const long grace = graceFrom(count, arguments);
    const pid_t leader = ::getpgrp();
    if (grace < 0 || leader == ::getpid()) {
        return usageError;
    }
    ignoreSignals();
    // No watch means that the leader has gone already, and what is left is to be ended at once.
    const platform::posix::UniqueFd exitWatch = platform::posix::watchForExit(leader);
    if (exitWatch) {
        waitForTheEndOfTheApplication();
        ::kill(0, SIGTERM);
        ::kill(0, SIGCONT);
        waitForExit(exitWatch.get(), grace);
    }
    ::kill(0, SIGKILL);
    return EXIT_FAILURE; // not reached: the group includes this process
}
