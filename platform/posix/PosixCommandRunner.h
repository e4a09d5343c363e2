// CommandRunner for both systems. It uses neither the launcher nor a thread of its own: the
// caller's thread waits for output, exit and deadline. Programs get the environment given here,
// and where the system allows SIGTERM when the calling thread ends. Any thread, several at once.
#pragma once

#include "platform/CommandRunner.h"
#include "platform/Environment.h"

namespace platform {

class PosixCommandRunner final : public CommandRunner {
  public:
    explicit PosixCommandRunner(Environment programEnvironment = currentEnvironment())
        : environment(std::move(programEnvironment)) {}

    [[nodiscard]] std::expected<CommandResult, CommandError>
    run(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
        std::chrono::milliseconds timeout, std::size_t maxOutput) override;

  private:
    const Environment environment;
};

} // namespace platform
