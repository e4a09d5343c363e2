// What a program inherits from whoever started it and cannot choose: signals that are ignored or
// blocked, limits, and standard streams that are closed. To be put right first of all, before there
// is a second thread.
#pragma once

#include <cstddef>

namespace platform::posix {

// Signals that are ignored get their default disposition (but SIGHUP, which nohup lets a program
// ignore), none stays blocked, and as many descriptors are allowed as the system grants without
// asking anybody. SIGPIPE and SIGXFSZ are ignored: a reader that is gone and a file that may not
// grow are error codes. Nothing takes the place of a closed standard stream.
void putInheritanceRight() noexcept;

// The main loop's, the bus's, the log's, the children's, HTTP's and the workers' together.
inline constexpr std::size_t neededThreads = 12;

inline constexpr const char* noMoreThreads =
    "the system lets this user start no more threads or processes";

// Throws std::runtime_error with that sentence when the system does not let this user start as many
// threads as the application needs.
void requireThreads();

} // namespace platform::posix
