#include "platform/posix/ChildSession.h"

#include "platform/ErrnoText.h"
#include "platform/posix/Reaping.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace platform::posix {
namespace {

// One child's flood must not keep the others waiting for longer than this many reads.
constexpr int readsInARow = 4;

// Somebody who keeps killing guardians wins in the end, instead of making us fork for ever.
constexpr int mostReplacements = 3;

} // namespace

ChildSession::ChildSession(IoThread& ioThread, Parts sessionParts, Report reportTrouble)
    : io(ioThread)
    , parts(std::move(sessionParts))
    , report(std::move(reportTrouble)) {}

void ChildSession::begin(std::function<void()> onEnd) {
    end = std::move(onEnd);
    if (parts.output) {
        outputWatch = io.watch(parts.output.get(), [this] { readOutput(); });
    }
    watchGuardian();
    exitWatch = io.watch(parts.state->exitDescriptor(), [this] { childEnded(); });
}

void ChildSession::readOutput() {
    const auto memory = io.scratch();
    for (int turn = 0; turn < readsInARow; ++turn) {
        const long count = readSome(parts.output.get(), memory.data(), memory.size());
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            return;
        }
        if (count <= 0) {
            stopReading();
            return;
        }
        parts.callbacks->output({memory.data(), static_cast<std::size_t>(count)});
    }
}

void ChildSession::stopReading() {
    io.unwatch(outputWatch);
    parts.output.reset();
}

// What the child itself wrote is among the bytes that wait now; a process that left the group
// with the pipe in its hands may go on writing, and nobody waits for that.
void ChildSession::passOnWhatIsLeft() {
    const auto memory = io.scratch();
    std::size_t left = bytesWaiting(parts.output.get());
    while (left > 0) {
        const long count =
            readSome(parts.output.get(), memory.data(), std::min(left, memory.size()));
        if (count <= 0) {
            break;
        }
        parts.callbacks->output({memory.data(), static_cast<std::size_t>(count)});
        left -= static_cast<std::size_t>(count);
    }
    stopReading();
}

void ChildSession::watchGuardian() {
    if (parts.guardian) {
        guardianWatch = io.watch(parts.guardian->exitWatch.get(), [this] { guardianEnded(); });
    }
}

// For a guardian that has ended or is about to.
void ChildSession::endGuardian() {
    if (parts.guardian) {
        io.unwatch(guardianWatch);
        reap(parts.guardian->pid);
        parts.guardian.reset();
    }
}

void ChildSession::guardianEnded() {
    endGuardian();
    if (!parts.state->hasExited() && !parts.state->wasKilled()) {
        replaceGuardian();
    }
}

void ChildSession::replaceGuardian() {
    const auto pid = parts.state->pid();
    if (replacements == mostReplacements) {
        report(fmt::format("the guardian of process {} ended again and is not replaced", pid));
        return;
    }
    ++replacements;
    auto guardian = startGuardian(parts.guardianPlan, pid);
    if (!guardian) {
        report(fmt::format("the guardian of process {} ended and cannot be replaced: {}", pid,
                           errnoText(guardian.error())));
        return;
    }
    parts.guardian = std::move(*guardian);
    watchGuardian();
    report(fmt::format("the guardian of process {} ended and was replaced", pid));
}

void ChildSession::childEnded() {
    parts.state->endGroup();
    io.unwatch(exitWatch);
    if (parts.output) {
        passOnWhatIsLeft();
    }
    endGuardian();
    parts.callbacks->exit(parts.state->reapChild());
    const auto finished = std::move(end);
    finished();
}

} // namespace platform::posix
