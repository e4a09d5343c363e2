// Serves one child from its start to its end, on the I/O thread: passes its output on and, when the
// guardian has said how the child ended, passes on the output that is still there, reaps the
// guardian and reports the exit. A guardian that ended without saying so was killed: what is left
// of the child's tree is killed then. Everything runs on the I/O thread unless it says otherwise.
#pragma once

#include "platform/posix/IoThread.h"
#include "platform/posix/PosixChildProcess.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace platform::posix {

class ChildSession {
  public:
    using Report = std::function<void(std::string_view)>;

    struct Parts {
        std::shared_ptr<ChildState> state;
        std::shared_ptr<ChildCallbacks> callbacks;
        UniqueFd output;  // the pipe's reading end, non-blocking; may be empty
        std::string mark; // an environment entry of this child and its descendants only, or empty
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
    void guardianSpoke();
    void wakeGuardian();
    [[nodiscard]] ExitStatus endTree() const;
    void childEnded();

    IoThread& io;
    Parts parts;
    const Report report;
    std::function<void()> end;
    std::optional<ExitStatus> status;
    IoThread::WatchId outputWatch = 0;
    IoThread::WatchId guardianWatch = 0;
    IoThread::WatchId exitWatch = 0;
};

} // namespace platform::posix
