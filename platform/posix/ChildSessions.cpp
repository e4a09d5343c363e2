#include "platform/posix/ChildSessions.h"

#include <chrono>
#include <utility>

namespace platform::posix {
namespace {

// A killed process may take long inside a system call that cannot be interrupted. Quitting does
// not wait for a broken disk.
constexpr std::chrono::seconds patience(5);

} // namespace

ChildSessions::ChildSessions(ChildSession::Report reportTrouble)
    : report(std::move(reportTrouble)) {}

ChildSessions::~ChildSessions() {
    {
        std::unique_lock lock(mutex);
        for (const auto& session : sessions) {
            session.killGroup();
        }
        changed.wait_for(lock, patience, [this] { return sessions.empty(); });
    }
    io.reset();
}

IoThread& ChildSessions::thread() {
    const std::lock_guard lock(mutex);
    if (!io) {
        io.emplace();
    }
    return *io;
}

void ChildSessions::serve(ChildSession::Parts parts) {
    IoThread& ioThread = thread();
    const std::lock_guard lock(mutex);
    sessions.emplace_front(ioThread, std::move(parts), report);
    const auto session = sessions.begin();
    ioThread.post([this, session] { session->begin([this, session] { sessionEnded(session); }); });
}

void ChildSessions::sessionEnded(List::iterator session) {
    List ended; // destroyed outside the lock
    const std::lock_guard lock(mutex);
    ended.splice(ended.begin(), sessions, session);
    changed.notify_all();
}

} // namespace platform::posix
