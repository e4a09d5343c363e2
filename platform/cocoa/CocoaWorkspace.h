// The desktop around the application (NSWorkspace). Completions arrive on a queue of the system's.
// Main thread only.
#pragma once

#include "platform/Log.h"
#include "platform/Workspace.h"

namespace platform::cocoa {

// Set for an instance that was started to follow this one: it waits until this one has gone, and
// does not ask it to reopen.
inline constexpr const char* newInstanceVariable = "APPLICATION_WAITS_FOR_PREVIOUS_INSTANCE";

class CocoaWorkspace final : public Workspace {
  public:
    explicit CocoaWorkspace(Log& log)
        : log_(log) {}

    void openUrl(const std::string& url) override;
    void openNewInstance(const std::filesystem::path& bundle,
                         std::function<void(OpenResult)> completion) override;

  private:
    Log& log_;
};

} // namespace platform::cocoa
