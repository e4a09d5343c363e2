// Whether this system lets bubblewrap make the namespaces that the web engine's sandbox consists
// of. Containers and some distributions do not; the engine ends its host over that, so it has to be
// known before the first view is made. Main thread only.
#pragma once

#include "platform/posix/UniqueFd.h"

#include <sys/types.h>

#include <optional>
#include <string>

namespace platform::gtk {

class SandboxCheck {
  public:
    // Begins; takes some milliseconds beside whatever else is done.
    SandboxCheck();
    ~SandboxCheck();
    SandboxCheck(const SandboxCheck&) = delete;
    SandboxCheck& operator=(const SandboxCheck&) = delete;

    // Nothing when there is a sandbox; else why not, in one line. Waits for the end of the check,
    // two seconds at most.
    [[nodiscard]] const std::optional<std::string>& trouble();

  private:
    [[nodiscard]] std::optional<std::string> finish();

    pid_t child_ = -1;
    posix::UniqueFd complaint_;
    bool finished_ = false;
    std::optional<std::string> trouble_;
};

} // namespace platform::gtk
