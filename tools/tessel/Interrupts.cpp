#include "tools/tessel/Interrupts.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace tool {
namespace {

volatile std::sig_atomic_t firstSignal = 0;
int readEnd = -1;
int writeEnd = -1;

// Async-signal-safe calls only.
void remember(int signal) {
    const int error = errno;
    if (firstSignal == 0) {
        firstSignal = signal;
        static_cast<void>(!::write(writeEnd, "", 1));
    }
    errno = error;
}

} // namespace

Interrupts::Interrupts() {
    firstSignal = 0;
    if (int ends[2]; ::pipe(ends) == 0) {
        readEnd = ends[0];
        writeEnd = ends[1];
        ::fcntl(readEnd, F_SETFD, FD_CLOEXEC);
        ::fcntl(writeEnd, F_SETFD, FD_CLOEXEC);
    }
    struct sigaction action{};
    action.sa_handler = remember;
    for (std::size_t i = 0; i < caught.size(); ++i) {
        ::sigaction(caught.at(i), nullptr, &before_.at(i));
        if (before_.at(i).sa_handler != SIG_IGN) {
            ::sigaction(caught.at(i), &action, nullptr);
        }
    }
}

Interrupts::~Interrupts() {
    for (std::size_t i = 0; i < caught.size(); ++i) {
        ::sigaction(caught.at(i), &before_.at(i), nullptr);
    }
    ::close(readEnd);
    ::close(writeEnd);
    readEnd = writeEnd = -1;
}

int Interrupts::signal() const {
    return firstSignal;
}

int Interrupts::descriptor() const {
    return readEnd;
}

} // namespace tool
