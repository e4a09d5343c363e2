// macOS's facilities put together. Making it ignores SIGPIPE for the whole process (a peer that
// went away is an error code, not an end), and tells the system that the process has work to do
// while no window shows: otherwise App Nap would hold back its timers, and with them the restart
// of what it supervises. The machine may still go to sleep. Main thread; once per process.
#pragma once

#include "platform/NativePlatform.h"
#include "platform/cocoa/CocoaAlerts.h"
#include "platform/cocoa/CocoaApplication.h"
#include "platform/cocoa/CocoaBundle.h"
#include "platform/cocoa/CocoaHost.h"
#include "platform/cocoa/CocoaLoginService.h"
#include "platform/cocoa/CocoaMainQueue.h"
#include "platform/cocoa/CocoaNotificationCenter.h"
#include "platform/cocoa/CocoaPasteboard.h"
#include "platform/cocoa/CocoaStatusBar.h"
#include "platform/cocoa/CocoaUserDefaults.h"
#include "platform/cocoa/CocoaWebWindow.h"
#include "platform/cocoa/CocoaWorkspace.h"
#include "platform/cocoa/DispatchQueues.h"
#include "platform/cocoa/OsLog.h"
#include "platform/cocoa/SparkleUpdateFramework.h"
#include "platform/cocoa/crypto/SecurityRandomSource.h"
#include "platform/cocoa/text/CocoaNumberFormatter.h"
#include "platform/posix/CurlHttpClient.h"
#include "platform/posix/PosixChildLauncher.h"
#include "platform/posix/PosixCommandRunner.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixFolderTree.h"
#include "platform/posix/PosixLoopbackPorts.h"
#include "platform/posix/PosixPrivateFiles.h"

namespace platform::cocoa {

class CocoaPlatform final : public NativePlatform {
  public:
    CocoaPlatform(const NativeOptions& options, const Environment& environment,
                  const std::filesystem::path& supportFolder);
    ~CocoaPlatform() override;
    CocoaPlatform(const CocoaPlatform&) = delete;
    CocoaPlatform& operator=(const CocoaPlatform&) = delete;

    Application& application() override { return application_; }
    MainQueue& mainQueue() override { return mainQueue_; }
    BackgroundQueues& backgroundQueues() override { return backgroundQueues_; }
    Clock& clock() override { return clock_; }
    ChildLauncher& childLauncher() override { return childLauncher_; }
    CommandRunner& commandRunner() override { return commandRunner_; }
    HttpClient& httpClient() override { return httpClient_; }
    LoopbackPorts& loopbackPorts() override { return loopbackPorts_; }
    RandomSource& randomSource() override { return randomSource_; }
    UserDefaults& userDefaults() override { return userDefaults_; }
    Bundle& bundle() override { return bundle_; }
    FileSystem& fileSystem() override { return fileSystem_; }
    FolderTree& folderTree() override { return folderTree_; }
    const ApplicationFolders& applicationFolders() override { return applicationFolders_; }
    LoginService& loginService() override { return loginService_; }
    Alerts& alerts() override { return alerts_; }
    PrivateFiles& privateFiles() override { return privateFiles_; }
    Host& host() override { return host_; }
    Log& log() override { return log_; }
    NumberFormatter& numberFormatter() override { return numberFormatter_; }
    NotificationCenter& notificationCenter() override { return notificationCenter_; }
    UpdateFramework& updateFramework() override { return updateFramework_; }
    WebWindowFactory& webWindows() override { return webWindows_; }
    StatusBar& statusBar() override { return statusBar_; }
    MenuBar& menuBar() override { return menuBar_; }
    Pasteboard& pasteboard() override { return pasteboard_; }
    Workspace& workspace() override { return workspace_; }

  private:
    // Destroyed from the last to the first: what calls back goes before what is called.
    id<NSObject> activity_;
    OsLog log_;
    SystemClock clock_;
    CocoaNumberFormatter numberFormatter_;
    CocoaMainQueue mainQueue_;
    CocoaNotificationCenter notificationCenter_;
    DispatchQueues backgroundQueues_;
    PosixFileSystem fileSystem_;
    PosixFolderTree folderTree_;
    ApplicationFolders applicationFolders_;
    CocoaLoginService loginService_;
    PosixPrivateFiles privateFiles_;
    CocoaHost host_;
    PosixLoopbackPorts loopbackPorts_;
    SecurityRandomSource randomSource_;
    CocoaUserDefaults userDefaults_;
    CocoaBundle bundle_;
    PosixCommandRunner commandRunner_;
    PosixChildLauncher childLauncher_;
    CurlHttpClient httpClient_;
    CocoaApplication application_;
    CocoaAlerts alerts_;
    SparkleUpdateFramework updateFramework_{mainBundleWithoutLinks(), log_};
    CocoaWebWindowFactory webWindows_;
    CocoaStatusBar statusBar_;
    CocoaMenuBar menuBar_;
    CocoaPasteboard pasteboard_;
    CocoaWorkspace workspace_{log_};
};

} // namespace platform::cocoa
