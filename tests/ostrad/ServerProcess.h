#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ostrad::test {

// A child process of a test: its own output pipe, killed by its id and reaped at the end whatever
// happened. The environment is the test's own plus the given entries.
class ServerProcess {
  public:
    using Environment = std::map<std::string, std::string>;

    ServerProcess(const std::string& program, const std::vector<std::string>& arguments,
                  const Environment& environment = {});
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;
    ~ServerProcess();

    // Reads up to the line "listening on http://HOST:PORT/".
    std::uint16_t waitForPort();

    void signal(int number) const;
    // The exit status, or 128 plus the signal; nothing when it still runs after that time.
    std::optional<int> wait(std::chrono::milliseconds time = std::chrono::seconds(30));

    std::string readOutput(); // standard output and error until both are closed
    [[nodiscard]] pid_t pid() const { return child; }

  private:
    pid_t child = -1;
    int output = -1;
    std::optional<int> status;
    std::string text;
};

struct Finished {
    int status = -1;
    std::string output;
};

// Where a tool of this system is; its name alone where it is not to be found.
std::string findTool(const std::string& name);

// Runs a program to its end.
Finished runToEnd(const std::string& program, const std::vector<std::string>& arguments,
                  const ServerProcess::Environment& environment = {});

} // namespace ostrad::test
