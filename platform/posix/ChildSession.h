// Serves one child from its start to its end, on the I/O thread: passes its output on, replaces
// its guardian if that one ends early, and when the child has exited kills what it left behind in
// its group, passes on the output that is still there, reaps child and guardian and reports the
// exit. Everything runs on the I/O thread unless it
// says otherwise.
#pragma once

#include "platform/posix/Guardian.h"
#include "platform/posix/IoThread.h"
#include "platform/posix/PosixChildProcess.h"

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace platform::posix {

class ChildSession {
  public:
    using Report = std::function<void(std::string_view)>;

    struct Parts {
        std::shared_ptr<ChildState> state;
        std::shared_ptr<ChildCallbacks> callbacks;
        UniqueFd output; // the pipe's reading end, non-blocking; may be empty
        std::optional<Guardian> guardian;
        GuardianPlan guardianPlan;
    };

    ChildSession(IoThread& ioThread, Parts sessionParts, Report reportTrouble);

    // `onEnd` is called last, when nothing of the child is left; it may destroy the session.
    void begin(std::function<void()> onEnd);
    // Any thread.
    void killGroup() const { parts.state->killGroup(); }

  private:
    void readOutput();
    void passOnWhatIsLeft();
    void stopReading();
    void endGuardian();
    void guardianEnded();
    void replaceGuardian();
    void watchGuardian();
    void childEnded();

    IoThread& io;
    Parts parts;
    const Report report;
    std::function<void()> end;
    int replacements = 0;
    IoThread::WatchId outputWatch = 0;
    IoThread::WatchId exitWatch = 0;
    IoThread::WatchId guardianWatch = 0;
};

} // namespace platform::posix
