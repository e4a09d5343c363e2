// Child processes that are owned completely. A child is started in a process group of its own, with
// descriptors 0 (/dev/null), 1 and 2 and no others, default signal dispositions and an empty signal
// mask. Between it and this process stands its guardian, a tiny program that is its parent, reaps
// it and ends whatever the child leaves behind: on Linux all its descendants, wherever they went;
// elsewhere its group. So nothing of the child outlives it, and nothing of it outlives this
// process, however that one ends: the guardian then sends the group SIGTERM, waits for the child at
// most the grace, and kills. A guardian that is killed takes the child with it (Linux).
#pragma once

#include "platform/Environment.h"

#include <chrono>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// How a child ended: its exit code, or the number of the signal that ended it.
struct ExitStatus {
    bool signalled = false; // whether a signal ended it
    int code = 0;           // the exit code, 0 to 255, or the signal's number

    // Whether it exited by itself with 0.
    [[nodiscard]] bool succeeded() const { return !signalled && code == 0; }
    bool operator==(const ExitStatus&) const = default;
};

// What was attempted, and the system's reason (an errno value).
struct LaunchError {
    std::string attempt; // for example "cannot start /opt/ostrad"
    int errnoValue = 0;  // why

    // Attempt and reason as one sentence without a full stop, fit for a user.
    [[nodiscard]] std::string description() const;
};

// What to start, and who hears of it.
struct ChildOptions {
    std::filesystem::path executable;        // its path; no folder is searched for it
    std::vector<std::string> arguments = {}; // without the executable's own name
    Environment environment = {};            // exactly what the child gets

    // Standard output and standard error, one pipe, in raw pieces as they arrive. Called on an
    // internal thread that serves every child, perhaps before launch() has returned; it must only
    // hand the bytes on, quickly, and not throw. The view is valid during the call. Without a
    // callback the child writes to /dev/null.
    std::function<void(std::string_view)> onOutput = {};

    // Called once, on the same internal thread, after the last onOutput and after the child was
    // reaped and what it left behind was killed; isRunning() is false by then. What the child wrote
    // has arrived by then.
    std::function<void(ExitStatus)> onExit = {};

    // Between SIGTERM and SIGKILL when this process ends before the child.
    std::chrono::milliseconds guardianGrace{0};

    // The name of a variable in `environment` whose value no other process has. Descendants that
    // left the group are recognised by it if the guardian is killed.
    std::string markVariable = {};
};

// A started child. Every call may be made on any thread. Destroying the handle of a running child
// kills its group; callbacks that are under way finish first, and none starts afterwards (a
// callback may itself drop the last handle).
class ChildProcess {
  public:
    virtual ~ChildProcess() = default;

    // Also the number of its process group; stays what it was when the child has ended.
    [[nodiscard]] virtual int pid() const = 0;
    // True until the child has exited, whether or not it was reaped already: onExit comes later.
    [[nodiscard]] virtual bool isRunning() const = 0;
    // SIGTERM to the child, once however often it is called, and SIGCONT to its group, so that a
    // stopped one notices. No effect on a child that has exited.
    virtual void terminate() = 0;
    // SIGKILL to the whole group. No effect on a child that has exited.
    virtual void kill() = 0;
    // Blocks until the child has exited or the time is over; returns whether it has exited.
    virtual bool waitForExit(std::chrono::milliseconds timeout) = 0;
};

class ChildLauncher {
  public:
    virtual ~ChildLauncher() = default;

    // Returns once the executable runs, or says why it does not. Blocks until then; any thread.
    [[nodiscard]] virtual std::expected<std::shared_ptr<ChildProcess>, LaunchError>
    launch(ChildOptions options) = 0;
};

} // namespace platform
