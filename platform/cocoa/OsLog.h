// The log as the system's unified one (os_log), public text, default level: what Console and
// `log show` find under the subsystem. The system keeps order and time, never makes a caller wait,
// and says itself how much it dropped. It stores about a kilobyte of a message, so a longer line
// becomes several. Any thread.
#pragma once

#include "platform/Log.h"
#include "platform/cocoa/RequireArc.h"

#include <os/log.h>

#include <string>

namespace platform::cocoa {

class OsLog final : public Log {
  public:
    // Subsystem: reverse DNS.
    OsLog(const std::string& subsystem, const std::string& category);

    void write(std::string_view message) override;
    void writeLines(std::string_view prefix, std::span<const std::string_view> lines) override;

  private:
    os_log_t log_;
};

} // namespace platform::cocoa
