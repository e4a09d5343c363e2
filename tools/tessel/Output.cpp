#include "tools/tessel/Output.h"

#include "platform/ErrnoText.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace tool {
namespace {

int outputError = 0; // the first one: later ones only follow from it

void rememberError() {
    if (outputError == 0) {
        outputError = errno == 0 ? EIO : errno;
    }
}

} // namespace

void takeStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) < 0) {
            // The lowest number that is free is this one.
            static_cast<void>(
                ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

void printText(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
        rememberError();
    }
}

bool flushOutput() {
    if (std::fflush(stdout) != 0) {
        rememberError();
    }
    return outputError == 0;
}

bool outputHasReader() {
    pollfd output{.fd = STDOUT_FILENO, .events = 0, .revents = 0};
    return ::poll(&output, 1, 0) <= 0 || (output.revents & (POLLERR | POLLHUP)) == 0;
}

void sayText(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

void say(std::string_view message) {
    sayText(fmt::format("tessel: {}\n", message));
}

bool outputIsTerminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}

bool errorIsTerminal() {
    return ::isatty(STDERR_FILENO) == 1;
}

int finishOutput(int status) {
    constexpr int readerGone = 141; // what a shell says of a program that SIGPIPE ended
    const bool failedBefore = std::ferror(stdout) != 0;
    static_cast<void>(flushOutput());
    if (failedBefore) {
        rememberError();
    }
    // Some file systems tell at the end only. Standard output may have been closed from the start.
    if (std::fclose(stdout) != 0 && errno != EBADF) {
        rememberError();
    }
    if (outputError == EPIPE) {
        return readerGone;
    }
    if (outputError != 0) {
        say(fmt::format("cannot write to standard output: {}", platform::errnoText(outputError)));
        return status == 0 ? 1 : status;
    }
    return status;
}

} // namespace tool
