// The workspace of a program without a user interface: pages are opened by a function, which may
// fail in silence, and no application is ever started. Any thread.
#pragma once

#include "platform/Workspace.h"

#include <utility>

namespace platform {

class OpeningWorkspace final : public Workspace {
  public:
    // `open` is given each URL, on the thread that asked.
    explicit OpeningWorkspace(std::function<void(const std::string& url)> open)
        : open_(std::move(open)) {}

    // As Workspace promises; the completion comes at once.
    void openUrl(const std::string& url) override { open_(url); }
    void openNewInstance(const std::filesystem::path& /*bundle*/,
                         std::function<void(OpenResult)> completion) override {
        completion({.launched = false, .error = "this program starts no applications"});
    }

  private:
    const std::function<void(const std::string&)> open_;
};

} // namespace platform
