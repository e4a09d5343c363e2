// The system log. Messages are UTF-8 lines without a final line feed. Both calls may be made on
// any thread, keep the order of one thread's messages and never block the caller: when the sink
// cannot keep up, lines are dropped and their number is logged in their place.
#pragma once

#include <span>
#include <string_view>

namespace platform {

class Log {
  public:
    virtual ~Log() = default;

    // One message.
    virtual void write(std::string_view message) = 0;
    // Each line as a message of its own, after `prefix`: one hand-over for many lines.
    virtual void writeLines(std::string_view prefix, std::span<const std::string_view> lines) = 0;
};

} // namespace platform
