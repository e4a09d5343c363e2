// The desktop around the application (NSWorkspace). Completions arrive on a queue of the system's.
// Main thread only.
#pragma once

#include "platform/Log.h"
#include "platform/Workspace.h"

namespace platform::cocoa {

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
