#include "platform/posix/ProcessEntry.h"

#include "platform/posix/QuietThread.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <latch>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace platform::posix {
namespace {

constexpr rlim_t enoughDescriptors = 4096;

void ignore(int signal) noexcept {
    struct sigaction action = {};
    action.sa_handler = SIG_IGN;
    sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
}

// Only those: a handler that is there already belongs to this program. A hang-up that is ignored is
// nohup's doing, and meant.
void resetIgnored() noexcept {
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action = {};
        if (signal != SIGHUP && ::sigaction(signal, nullptr, &action) == 0 &&
            action.sa_handler == SIG_IGN) {
            action.sa_handler = SIG_DFL;
            ::sigaction(signal, &action, nullptr);
        }
    }
}

// Whatever is opened next would take the place of a closed one, and be written into by the log. The
// wrong way round, so that it still is an error to use them.
void occupyStandardStreams() noexcept {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) >= 0) {
            continue;
        }
        const int opened = ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        if (opened > stream) { // an earlier one could not be opened
            ::close(opened);
        }
    }
}

void raiseDescriptorLimit() noexcept {
    struct rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < enoughDescriptors) {
        limit.rlim_cur = std::min(limit.rlim_max, enoughDescriptors);
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace

void putInheritanceRight() noexcept {
    resetIgnored();
    ignore(SIGPIPE);
    ignore(SIGXFSZ);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    raiseDescriptorLimit();
    occupyStandardStreams();
}

void requireThreads() {
    std::latch checked(1);
    std::array<std::thread, neededThreads> threads;
    bool enough = true;
    try {
        for (std::thread& thread : threads) {
            thread = startQuietThread("check", [&checked] { checked.wait(); });
        }
    } catch (const std::system_error&) {
        enough = false;
    }
    checked.count_down();
    for (std::thread& thread : threads) {
        if (thread.joinable()) {
            thread.join();
        }
    }
    if (!enough) {
        throw std::runtime_error(noMoreThreads);
    }
}

} // namespace platform::posix
