// `--check-server EXECUTABLE`: examines a server and prints the report. Part of the composition
// root, like main(); needs no display.
#pragma once

#include <filesystem>

namespace zorvane {

struct ServerCheckRequest {
    std::filesystem::path executable;
    bool asJson = false;
};

// Prints to standard output. The exit status: 0 when the server keeps the contract, 1 when it does
// not or could not be examined. To be called on the main thread, before anything else is made.
[[nodiscard]] int runServerCheck(const ServerCheckRequest& request);

} // namespace zorvane
