#pragma once

#include "ostrad/UniqueFd.h"

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ostrad {

// A helper program that works on what strangers wrote, with as little as it needs: bounded memory,
// no network and no further programs where the system can forbid them, no descriptors but its own
// three, nothing on standard error. Its standard output is read while it runs. It leads no life of
// its own: it ends with this object, and with this process, however that ends. One thread at a
// time.

struct ToolBounds {
    std::size_t memory = std::size_t{1} << 30U; // that it may write to, in bytes
    int niceness = 0;
    bool mayStartPrograms = false;
};

class ToolProcess {
  public:
    using Clock = std::chrono::steady_clock;

    // What fits into a pipe on every system, since nobody is there to write on.
    static constexpr std::size_t mostInput = 16UL * 1024;

    // The first argument is the program's path; `input` is what it reads from standard input.
    // Nothing when it cannot be started.
    static std::optional<ToolProcess> start(const std::vector<std::string>& arguments,
                                            const ToolBounds& bounds, std::string_view input = {});

    ToolProcess(ToolProcess&& other) noexcept;
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;
    ToolProcess& operator=(ToolProcess&&) = delete;
    ~ToolProcess(); // kills

    // Waits for output: the number of bytes, 0 at the end, -1 when it failed, `stop` became true or
    // the time was over.
    ssize_t read(std::span<char> buffer, const std::atomic<bool>& stop,
                 Clock::time_point deadline = Clock::time_point::max());
    // Whether the program ends by itself with status 0 until then. In any case it is gone
    // afterwards, with everything it started.
    bool finish(const std::atomic<bool>& stop, Clock::time_point deadline);

  private:
    ToolProcess(pid_t process, pid_t groupLeader, UniqueFd lifelineEnd, UniqueFd reading)
        : child(process)
        , leader(groupLeader)
        , lifeline(std::move(lifelineEnd))
        , output(std::move(reading)) {}

    pid_t child = -1;
    pid_t leader = -1; // of the process group, the one that watches this process
    UniqueFd lifeline;
    UniqueFd output;
};

// Whether the system keeps tools from the network and from starting programs: tried out.
bool canConfineTools();

} // namespace ostrad
