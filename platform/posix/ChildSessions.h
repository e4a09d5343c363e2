// The children of one launcher and the thread that serves them. The thread starts with the first
// child. Destruction kills every group, waits until all children are reaped and their exits
// reported (for a few seconds at most, should the system be unable to end one) and then ends the
// thread. Not on the serving thread.
#pragma once

#include "platform/posix/ChildSession.h"

#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <optional>

namespace platform::posix {

class ChildSessions {
  public:
    explicit ChildSessions(ChildSession::Report reportTrouble);
    ~ChildSessions();
    ChildSessions(const ChildSessions&) = delete;
    ChildSessions& operator=(const ChildSessions&) = delete;

    // Any thread. Throws std::system_error when the thread cannot be started.
    [[nodiscard]] IoThread& thread();
    void serve(ChildSession::Parts parts);

  private:
    using List = std::list<ChildSession>;

    void sessionEnded(List::iterator session);

    const ChildSession::Report report;
    std::mutex mutex;
    std::condition_variable changed;
    List sessions;
    std::optional<IoThread> io; // last: its tasks and handlers use the sessions
};

} // namespace platform::posix
