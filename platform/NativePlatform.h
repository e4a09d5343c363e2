// Every facility of the system this executable was linked for, made in one place. Only main()
// and the tests that compare back ends use this; everything else takes the few facilities it
// needs. The object is created on the main thread, before anything else, and destroyed last; the
// references stay valid as long as it lives.
#pragma once

#include "platform/Alerts.h"
#include "platform/Application.h"
#include "platform/ApplicationFolders.h"
#include "platform/Bundle.h"
#include "platform/ChildProcess.h"
#include "platform/Clock.h"
#include "platform/CommandRunner.h"
#include "platform/FileSystem.h"
#include "platform/FolderTree.h"
#include "platform/Host.h"
#include "platform/HttpClient.h"
#include "platform/Log.h"
#include "platform/LoginService.h"
#include "platform/LoopbackPorts.h"
#include "platform/NotificationCenter.h"
#include "platform/NumberFormatter.h"
#include "platform/Pasteboard.h"
#include "platform/PrivateFiles.h"
#include "platform/Queues.h"
#include "platform/RandomSource.h"
#include "platform/StatusItem.h"
#include "platform/UpdateFramework.h"
#include "platform/UserDefaults.h"
#include "platform/WebWindow.h"
#include "platform/Workspace.h"

#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace platform {

// What the back end has to know about the product, since it decides nothing itself.
struct NativeOptions {
    std::string applicationId;      // reverse DNS; also names the folders of private data
    std::string guardianExecutable; // auxiliary executable that ends a child's group with us
    // Where windows live in a process of their own, the executable of it: the name of an auxiliary
    // executable or an absolute path. Other systems have no use for it.
    std::string windowExecutable = {};
    // A PEM file with the certificate authorities that the update servers are checked against, in
    // the place of the system's.
    std::filesystem::path updateAuthorities = {};
    // Says why the application cannot go on, where a library of the system would end it by a signal
    // without a word; it exits with 1 afterwards. Called on any thread. Empty: it ends as the
    // library ends it.
    std::function<void(std::string_view why)> sayWhyItEnds = {};
};

class NativePlatform {
  public:
    virtual ~NativePlatform() = default;

    // Each as its own header promises, and for as long as this object lives.
    virtual Application& application() = 0;
    virtual MainQueue& mainQueue() = 0;
    virtual BackgroundQueues& backgroundQueues() = 0;
    virtual Clock& clock() = 0;
    virtual ChildLauncher& childLauncher() = 0;
    virtual CommandRunner& commandRunner() = 0;
    virtual HttpClient& httpClient() = 0;
    virtual LoopbackPorts& loopbackPorts() = 0;
    virtual RandomSource& randomSource() = 0;
    virtual UserDefaults& userDefaults() = 0;
    virtual Bundle& bundle() = 0;
    virtual FileSystem& fileSystem() = 0;
    virtual FolderTree& folderTree() = 0;
    virtual const ApplicationFolders& applicationFolders() = 0;
    virtual LoginService& loginService() = 0;
    virtual Alerts& alerts() = 0;
    virtual PrivateFiles& privateFiles() = 0;
    virtual Host& host() = 0;
    virtual Log& log() = 0;
    virtual NumberFormatter& numberFormatter() = 0;
    virtual NotificationCenter& notificationCenter() = 0;
    virtual UpdateFramework& updateFramework() = 0;
    virtual WebWindowFactory& webWindows() = 0;
    virtual StatusBar& statusBar() = 0;
    virtual MenuBar& menuBar() = 0;
    virtual Pasteboard& pasteboard() = 0;
    virtual Workspace& workspace() = 0;
};

// Makes the platform, or returns one clear sentence for the user when the system cannot carry the
// application (no usable display, say).
[[nodiscard]] std::expected<std::unique_ptr<NativePlatform>, std::string>
makeNativePlatform(const NativeOptions& options);

} // namespace platform
