// Offers an application that runs from elsewhere to copy itself into an Applications folder, takes
// the mark of a download off the copy, and relaunches from there. An older copy there is replaced,
// and stays as it was when the new one cannot be made; the running copy is left alone. Stateless:
// the offer comes back at every launch until it is taken. Main thread only; blocks while an alert
// is open and while files are copied.
#pragma once

#include "platform/Alerts.h"
#include "platform/Application.h"
#include "platform/ApplicationFolders.h"
#include "platform/Bundle.h"
#include "platform/CommandRunner.h"
#include "platform/Environment.h"
#include "platform/FileSystem.h"
#include "platform/FolderTree.h"
#include "platform/Queues.h"
#include "platform/Workspace.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace tessel {

struct SelfInstall {
    // What outlives the process's main loop; `terminate` may be called after the call returned.
    struct Facilities {
        // The system, facility by facility.
        platform::Application& application;
        platform::Alerts& alerts;
        platform::Bundle& bundle;
        const platform::ApplicationFolders& folders;
        platform::FileSystem& files;
        platform::FolderTree& trees;
        platform::CommandRunner& commands;
        platform::Workspace& workspace;
        platform::MainQueue& mainQueue;
        // Ends this instance for good: the new one has taken over.
        std::function<void()> terminate;
    };

    // Who asks, and how.
    struct Request {
        // In the alerts' texts.
        std::string appName;
        // An environment variable by which a developer's run, with the value "1", skips the offer.
        std::optional<std::string> devSkipEnvironmentKey = {};
        // This process's own.
        platform::Environment environment = {};
        bool interactive = false; // the user asked for it: the variable does not count
    };

    // Whether the bundle lies in an Applications folder, or where packages are installed. A test
    // of the path's text only.
    [[nodiscard]] static bool isInstalled(const std::filesystem::path& bundle,
                                          const platform::ApplicationFolders& folders);

    // True: a relaunch from the copy was started, and the caller should not go on starting up.
    [[nodiscard]] static bool moveToApplicationsIfNeeded(const Facilities& facilities,
                                                         const Request& request);
};

} // namespace tessel
