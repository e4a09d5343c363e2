// A program started by a test: its own process group, default signal dispositions, standard output
// and standard error in files of its own. The kernel kills it when the test's process dies, and
// the destructor kills and reaps it when it still runs. The thread that starts it must live as
// long (the test's only thread).
#pragma once

#include "platform/Environment.h"

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace desktop {

class Program {
  public:
    // `output` is the stem of two files, STEM.out and STEM.err. Throws std::system_error.
    Program(const std::vector<std::string>& command, const platform::Environment& environment,
            std::filesystem::path output);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // Whether a Program of this process has yet to reap that child.
    [[nodiscard]] static bool owns(pid_t pid);

    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] bool isRunning();
    void signal(int number) const;

    // The exit code; minus the signal's number when one ended it; nothing when it still runs after
    // the time.
    [[nodiscard]] std::optional<int> waitForExit(std::chrono::milliseconds limit);

    [[nodiscard]] std::string standardOutput() const;
    [[nodiscard]] std::string standardError() const;

  private:
    std::filesystem::path output_;
    pid_t pid_ = -1;
    std::optional<int> status_;
};

[[nodiscard]] std::string readFile(const std::filesystem::path& file);

} // namespace desktop
