// Writes whole lines to a descriptor that belongs to others: its flags are left alone, so a
// terminal, pipe or socket is asked first (poll(2)) and given no more than it takes at once. A
// write that fails loses the rest of its lines; their number is written once writing works again.
// One thread writes; giveUp() may be called on any.
#pragma once

#include "platform/posix/UniqueFd.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace platform::posix {

class LogSink {
  public:
    LogSink(int descriptor, std::string linePrefix);

    // Returns when everything is written, failed, or was given up.
    void write(std::string_view lines);
    // Ends a wait for the descriptor, and from now on loses everything at once.
    void giveUp();

  private:
    // What was written, 0 when giving up, or less than 0 with errno.
    [[nodiscard]] long writeSome(std::string_view bytes);
    [[nodiscard]] bool writeAll(std::string_view& bytes);

    void pauseBeforeRetry();

    int descriptor_;
    const std::string linePrefix_;
    UniqueFd ownTerminal_;
    bool canBlock_ = false; // a terminal or a pipe
    bool isSocket_ = false;
    bool midLine_ = false;
    std::uint64_t lost_ = 0;
    std::atomic<bool> gaveUp_ = false;
    UniqueFd wakeRead_;
    UniqueFd wakeWrite_;
};

} // namespace platform::posix
