#include "platform/posix/PosixChildProcess.h"

#include "platform/posix/Deadline.h"
#include "platform/posix/Reaping.h"

#include <utility>

namespace platform::posix {

bool ChildState::waitForExit(std::chrono::milliseconds timeout) const {
    const Deadline deadline(timeout);
    pollfd watch{.fd = guarded.exitWatch.get(), .events = POLLIN, .revents = 0};
    do {
        if (deadline.poll({&watch, 1})) {
            return true;
        }
    } while (!deadline.isOver());
    return false;
}

void ChildState::command(GuardianCommand command) {
    const std::lock_guard lock(mutex);
    if (!reaped && !hasExited()) {
        guarded.guardian.command(command);
    }
}

void ChildState::reapGuardian() {
    const std::lock_guard lock(mutex);
    reaped = true;
    reap(guarded.guardian.pid);
}

void ChildCallbacks::output(std::string_view bytes) {
    const std::lock_guard lock(mutex);
    if (!silenced && onOutput) {
        onOutput(bytes);
    }
}

void ChildCallbacks::exit(ExitStatus status) {
    // Both are let go here, so that what they captured does not outlive the child; but outside
    // the lock, since that may be the last handle of another child.
    std::function<void(std::string_view)> finishedOutput;
    std::function<void(ExitStatus)> finishedExit;
    const std::lock_guard lock(mutex);
    finishedOutput.swap(onOutput);
    finishedExit.swap(onExit);
    if (!silenced && finishedExit) {
        finishedExit(status);
    }
}

void ChildCallbacks::finish() {
    std::function<void(std::string_view)> droppedOutput;
    std::function<void(ExitStatus)> droppedExit;
    if (std::this_thread::get_id() == caller) {
        // Perhaps inside one of these callbacks: the lock is ours then, and the function that is
        // running has to survive its own call.
        return;
    }
    const std::lock_guard lock(mutex);
    droppedOutput.swap(onOutput);
    droppedExit.swap(onExit);
}

PosixChildProcess::~PosixChildProcess() {
    // In this order: nobody hears of the end that this brings about, and a callback that waits for
    // that end is not waited for in vain.
    callbacks->silence();
    state->killGroup();
    callbacks->finish();
}

} // namespace platform::posix
