// Pipes and /dev/null as this folder needs them: closed on exec, and never one of the descriptors
// 0, 1 and 2 even if this process was started without them, so that a child can be given its
// standard descriptors by dup2 in any order. Errors are errno values. Any thread.
#pragma once

#include "platform/posix/UniqueFd.h"

#include <cstddef>
#include <expected>

namespace platform::posix {

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

[[nodiscard]] std::expected<Pipe, int> makePipe();

// The descriptor itself, or a copy of it that is none of 0, 1 and 2.
[[nodiscard]] std::expected<UniqueFd, int> aboveStandardDescriptors(UniqueFd descriptor);

// For reading and writing.
[[nodiscard]] std::expected<UniqueFd, int> openNullDevice();

// Makes reads from this end return at once; the other end keeps blocking.
void setNonBlocking(int descriptor);

// Number of bytes that wait in the pipe right now.
[[nodiscard]] std::size_t bytesWaiting(int descriptor);

// Like read(2), started again when a signal interrupts it.
[[nodiscard]] long readSome(int descriptor, char* buffer, std::size_t size);

} // namespace platform::posix
