#include "platform/posix/ChildSession.h"

#include "platform/posix/Pipe.h"
#include "platform/posix/ProcessSystem.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>

namespace platform::posix {
namespace {

// One child's flood must not keep the others waiting for longer than this many reads.
constexpr int readsInARow = 4;

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
    guardianWatch = io.watch(parts.state->guardian().socket.get(), [this] { guardianSpoke(); });
    exitWatch = io.watch(parts.state->exitWatch(), [this] { wakeGuardian(); });
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

void ChildSession::guardianSpoke() {
    bool ended = false;
    if (const auto exit = parts.state->guardian().readExit(ended)) {
        status = exit;
    }
    if (ended) {
        childEnded();
    }
}

// Only the guardian says how the child ended, and one that was stopped says nothing.
void ChildSession::wakeGuardian() {
    io.unwatch(exitWatch);
    parts.state->guardian().wakeUp();
}

// The system kills a child whose guardian died, where it can; here nobody is left to reap it.
ExitStatus ChildSession::endTree() const {
    report(fmt::format("the guardian of process {} was killed, and with it the process",
                       parts.state->pid()));
    killAbandonedTree({.leader = parts.state->pid(), .mark = parts.mark.c_str()});
    return {.signalled = true, .code = SIGKILL};
}

void ChildSession::childEnded() {
    io.unwatch(guardianWatch);
    io.unwatch(exitWatch);
    if (!status) {
        status = endTree();
    }
    if (parts.output) {
        passOnWhatIsLeft();
    }
    parts.state->reapGuardian();
    parts.callbacks->exit(*status);
    const auto finished = std::move(end);
    finished();
}

} // namespace platform::posix
