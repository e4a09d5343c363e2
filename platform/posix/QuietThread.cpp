#include "platform/posix/QuietThread.h"

#include <pthread.h>

#include <csignal>
#include <type_traits>
#include <utility>

namespace platform::posix {
namespace {

// A new thread inherits the mask of the one that starts it.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
            sigdelset(&blocked, fault);
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &before);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

  private:
    sigset_t before{};
};

// Linux names any thread, macOS only the calling one.
template <typename SetName>
void nameThisThread(SetName setName, const char* name) {
    if constexpr (std::is_invocable_v<SetName, pthread_t, const char*>) {
        setName(pthread_self(), name);
    } else {
        setName(name);
    }
}

} // namespace

std::thread startQuietThread(const char* name, std::function<void()> body) {
    const SignalsBlocked quiet;
    return std::thread([name, body = std::move(body)]() noexcept {
        nameThisThread(&pthread_setname_np, name);
        body();
    });
}

} // namespace platform::posix
