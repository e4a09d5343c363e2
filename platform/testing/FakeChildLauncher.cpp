#include "platform/testing/FakeChildLauncher.h"

#include <algorithm>
#include <csignal>
#include <utility>

namespace platform::testing {

FakeChildLauncher::Child::Child(FakeChildLauncher& owner, int pid, ChildOptions options)
    : owner_(owner)
    , pid_(pid)
    , options_(std::move(options)) {
    ++owner_.running_;
}

FakeChildLauncher::Child::~Child() {
    options_.onExit = nullptr; // no callback once the handle is gone
    if (running_) {
        recordKill();
        exit({.signalled = true, .code = SIGKILL});
    }
}

void FakeChildLauncher::Child::terminate() {
    if (!running_) {
        return;
    }
    owner_.events.push_back("terminate " + std::to_string(pid_));
    if (owner_.exitsAfterTerminate) {
        exitAfter(*owner_.exitsAfterTerminate, SIGTERM);
    }
}

void FakeChildLauncher::Child::kill() {
    if (running_ && !killed_) {
        recordKill();
        exitAfter(owner_.exitsAfterKill, SIGKILL);
    }
}

void FakeChildLauncher::Child::recordKill() {
    if (!std::exchange(killed_, true)) {
        owner_.events.push_back("kill " + std::to_string(pid_));
    }
}

// The exit reaches us from another thread, however soon it is.
void FakeChildLauncher::Child::exitAfter(std::chrono::milliseconds delay, int signal) {
    endsAt_ = owner_.scheduler_.clock().now() + delay;
    owner_.scheduler_.schedule(delay, false, [weak = weak_from_this(), signal] {
        const auto child = weak.lock();
        if (child && child->isRunning()) {
            child->exit({.signalled = true, .code = signal});
        }
    });
}

bool FakeChildLauncher::Child::waitForExit(std::chrono::milliseconds timeout) {
    if (!running_) {
        return true;
    }
    const SteadyTime now = owner_.scheduler_.clock().now();
    if (endsAt_ && *endsAt_ <= now + timeout) {
        owner_.scheduler_.passTime(std::max(*endsAt_ - now, SteadyTime::duration{0}));
        exit({.signalled = true, .code = SIGTERM});
        return true;
    }
    owner_.scheduler_.passTime(timeout);
    return false;
}

void FakeChildLauncher::Child::exit(ExitStatus status) {
    if (!running_) {
        return;
    }
    running_ = false;
    --owner_.running_;
    owner_.events.push_back("exit " + std::to_string(pid_));
    if (options_.onExit) {
        options_.onExit(status);
    }
}

std::expected<std::shared_ptr<ChildProcess>, LaunchError>
FakeChildLauncher::launch(ChildOptions options) {
    if (onLaunch) {
        onLaunch();
    }
    if (failure) {
        return std::unexpected(*failure);
    }
    const int pid = static_cast<int>(++launched_);
    events.push_back("launch " + std::to_string(pid));
    auto child = std::make_shared<Child>(*this, pid, std::move(options));
    lastChild_ = child;
    return child;
}

} // namespace platform::testing
