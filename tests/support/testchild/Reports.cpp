#include "tests/support/testchild/Reports.h"

#include "tests/support/testchild/Output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

extern char** environ; // NOLINT: POSIX leaves the declaration to the program

namespace testchild {
namespace {

std::string descriptors() {
    std::string line = "descriptors";
    const long limit = ::sysconf(_SC_OPEN_MAX);
    for (int descriptor = 0; descriptor < limit; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) >= 0) {
            line += ' ' + std::to_string(descriptor);
        }
    }
    return line;
}

// The numbers of the signals that are not at their default disposition.
std::string signals() {
    std::string line = "signals";
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action = {};
        if (::sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_DFL) {
            line += ' ' + std::to_string(number);
        }
    }
    return line;
}

// The numbers of the signals that are blocked.
std::string mask() {
    sigset_t blocked;
    ::sigprocmask(SIG_SETMASK, nullptr, &blocked);
    std::string line = "mask";
    for (int number = 1; number < NSIG; ++number) {
        if (sigismember(&blocked, number) == 1) {
            line += ' ' + std::to_string(number);
        }
    }
    return line;
}

std::string group() {
    return "group " + std::to_string(::getpgrp()) + (::getpgrp() == ::getpid() ? " own" : " other");
}

std::string creationMask() {
    const mode_t current = ::umask(0);
    ::umask(current);
    return "umask " + std::to_string(current);
}

} // namespace

bool report(std::string_view name, std::span<char*> arguments) {
    if (name == "descriptors") {
        printLine(descriptors());
    } else if (name == "signals") {
        printLine(signals());
    } else if (name == "mask") {
        printLine(mask());
    } else if (name == "group") {
        printLine(group());
    } else if (name == "umask") {
        printLine(creationMask());
    } else if (name == "directory") {
        printLine("directory " + std::filesystem::current_path().native());
    } else if (name == "arguments") {
        for (const char* argument : arguments) {
            printLine(std::string("argument ") + argument);
        }
    } else if (name == "environment") {
        for (char** entry = environ; *entry != nullptr; ++entry) {
            printLine(std::string("environment ") + *entry);
        }
    } else {
        return false;
    }
    return true;
}

} // namespace testchild
