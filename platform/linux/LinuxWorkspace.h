// The desktop around the application: addresses go to GIO's default handler for their scheme (the
// OpenURI portal inside a sandbox) with the permission to take the focus, and an application is a
// bundle folder whose executable (CFBundleExecutable in Contents/MacOS) is started in a session of
// its own, so that nothing which ends this process ends it too; it is reaped by init. A new
// instance is told by an environment variable to wait until the one before it has gone
// (InstanceLock.h), where a second launch would otherwise only show the first. Completions arrive
// on the main queue. Main thread only.
#pragma once

#include "platform/Log.h"
#include "platform/Queues.h"
#include "platform/Workspace.h"
#include "platform/linux/ActivationTokens.h"

namespace platform::desktop {

// Set in a new instance; removed from the environment as soon as it was read.
inline constexpr const char* newInstanceVariable = "APPLICATION_WAITS_FOR_PREVIOUS_INSTANCE";

class LinuxWorkspace final : public Workspace {
  public:
    LinuxWorkspace(MainQueue& mainQueue, ActivationTokens& tokens, Log& log)
        : mainQueue_(mainQueue)
        , tokens_(tokens)
        , log_(log) {}

    void openUrl(const std::string& url) override;
    void openNewInstance(const std::filesystem::path& bundle,
                         std::function<void(OpenResult)> completion) override;

  private:
    MainQueue& mainQueue_;
    ActivationTokens& tokens_;
    Log& log_;
};

} // namespace platform::desktop
