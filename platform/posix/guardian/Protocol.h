// What the application and its guardian say to each other. The guardian's standard input is one
// end of a stream socket: the order arrives there first, then commands of one byte each, and the
// reports go back the same way. The end of the stream tells either side that the other one is
// gone. The guardian's standard output becomes the server's standard output and standard error; its
// standard error is the reading end of that pipe.
#pragma once

#include <cstdint>

namespace platform::posix {

// Followed by `bytes` bytes: the arguments, the program's path first, and the environment's
// entries, each with a NUL byte at its end.
struct GuardianOrder {
    std::uint32_t arguments = 0;
    std::uint32_t variables = 0;
    std::uint64_t bytes = 0;
};

enum class GuardianCommand : char {
    run = 'r',       // execute the program that is held
    terminate = 't', // SIGTERM to the server; a second one is not sent
    kill = 'k',      // SIGKILL to the server's group
};

struct GuardianReport {
    enum class Kind : std::int32_t {
        held,    // the process exists, and executes the program once it is told to; its id
        running, // the program runs
        failed,  // there is no server: an errno value; the guardian exits
        exited,  // server and descendants are gone: its wait status; the guardian exits
    };
    Kind kind = Kind::failed;
    std::int32_t value = 0;
};

} // namespace platform::posix
