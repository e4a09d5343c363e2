// The application's side of a guardian (guardian/main.cpp is the program): starting a child through
// it and saying what is to happen to the child. The guardian is a child of this process, the
// guarded child one of the guardian, which reaps it. Guardian only owns the descriptors and the
// number: whoever started it reaps it once the socket has come to its end. Any thread.
#pragma once

#include "platform/ChildProcess.h"
#include "platform/posix/UniqueFd.h"
#include "platform/posix/guardian/Protocol.h"

#include <sys/types.h>

#include <chrono>
#include <expected>
#include <filesystem>
#include <optional>

namespace platform::posix {

struct Guardian {
    pid_t pid = -1;
    UniqueFd socket; // non-blocking; reports come in, commands go out

    // Wakes it up too, should somebody have stopped it.
    void command(GuardianCommand command) const;
    void wakeUp() const;
    // The reports that have arrived. At the end of the stream `ended` becomes true.
    [[nodiscard]] std::optional<ExitStatus> readExit(bool& ended) const;
};

struct GuardedChild {
    pid_t pid = -1;
    UniqueFd exitWatch;
    Guardian guardian;
};

struct GuardedStart {
    const std::filesystem::path& guardian;
    const ChildOptions& options;
    // The two ends of the pipe that becomes the child's output, or -1: it writes to /dev/null.
    int outputWriteEnd = -1;
    int outputReadEnd = -1;
};

// Returns once the program runs; on failure nothing is left of it or of the guardian. Blocks for as
// long as two programs take to start.
[[nodiscard]] std::expected<GuardedChild, LaunchError> startGuarded(const GuardedStart& start);

} // namespace platform::posix
