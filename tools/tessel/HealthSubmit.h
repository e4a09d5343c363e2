// Hands reports to the user's own command.
#pragma once

#include "mac/Tessel/Health/AppHealthRunner.h"
#include "platform/Environment.h"
#include "tools/tessel/Interrupts.h"

#include <string>
#include <utility>

namespace tool::health {

// Runs the command with a report on its standard input. What is not taken is explained on standard
// error. Keep it alive for as long as what it gives away.
class Submitter {
  public:
    Submitter(std::string command, const platform::Environment& environment,
              const Interrupts& interrupts)
        : command_(std::move(command))
        , environment_(environment)
        , interrupts_(interrupts) {}
    Submitter(const Submitter&) = delete;
    Submitter& operator=(const Submitter&) = delete;

    // Empty without a command.
    [[nodiscard]] tessel::AppHealthRunner::Submit asFunction();
    // Whether a report was not taken.
    [[nodiscard]] bool hasFailed() const { return hasFailed_; }

  private:
    [[nodiscard]] bool submit(const tessel::AppHealthReport& report);

    const std::string command_;
    const platform::Environment& environment_;
    const Interrupts& interrupts_;
    bool hasFailed_ = false;
};

} // namespace tool::health
