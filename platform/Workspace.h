// What the application asks of the desktop around it: opening a page in the program that the user
// chose for it, and starting an application. Modelled on NSWorkspace. Main thread only.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace platform {

// How the start of an application ended.
struct OpenResult {
    bool launched = false;  // a running application came back
    std::string error = {}; // why not, for a user; empty when the system gave no reason
};

class Workspace {
  public:
    virtual ~Workspace() = default;

    // Hands an absolute URL to the system's default handler for its scheme. Returns at once;
    // a failure is logged, nothing else.
    virtual void openUrl(const std::string& url) = 0;

    // Starts the application bundle at `bundle` as a new instance beside any that runs already.
    // The completion is called once, on any thread.
    virtual void openNewInstance(const std::filesystem::path& bundle,
                                 std::function<void(OpenResult)> completion) = 0;
};

} // namespace platform
