// The Linux desktop's facilities put together. Making it starts the window program, ignores SIGPIPE
// for the whole process (a peer that went away is an error code, not an end), and takes the user's
// locale for texts while numbers stay as C has them. Main thread; once per process.
#pragma once

#include "platform/NativePlatform.h"
#include "platform/appcast/AppcastFramework.h"
#include "platform/appcast/HandOver.h"
#include "platform/linux/ActivationTokens.h"
#include "platform/linux/AutostartLoginService.h"
#include "platform/linux/FolderBundle.h"
#include "platform/linux/GlibMainQueue.h"
#include "platform/linux/KeyFileDefaults.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/linux/LinuxHost.h"
#include "platform/linux/LinuxWorkspace.h"
#include "platform/linux/LocalNotificationCenter.h"
#include "platform/linux/RemoteAlerts.h"
#include "platform/linux/RemoteMenuBar.h"
#include "platform/linux/RemotePasteboard.h"
#include "platform/linux/RemoteUpdateUi.h"
#include "platform/linux/RemoteWebWindow.h"
#include "platform/linux/ThreadPoolQueues.h"
#include "platform/linux/WindowHost.h"
#include "platform/linux/XdgFolders.h"
#include "platform/linux/crypto/SodiumRandomSource.h"
#include "platform/linux/notifications/DesktopNotifications.h"
#include "platform/linux/text/IcuNumberFormatter.h"
#include "platform/posix/CurlHttpClient.h"
#include "platform/posix/PosixChildLauncher.h"
#include "platform/posix/PosixCommandRunner.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixFolderTree.h"
#include "platform/posix/PosixLoopbackPorts.h"
#include "platform/posix/PosixPrivateFiles.h"
#include "platform/posix/StderrLog.h"

namespace platform::desktop {

class LinuxPlatform final : public NativePlatform {
  public:
    LinuxPlatform(const NativeOptions& options, const Environment& environment,
                  appcast::Predecessor predecessor);
    // Waits for the background tasks that are running: they use everything else.
    ~LinuxPlatform() override;
    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    // Why no window could ever be shown, if so.
    [[nodiscard]] const std::optional<std::string>& trouble() const { return trouble_; }

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
    StatusBar& statusBar() override { return menuBar_; }
    MenuBar& menuBar() override { return menuBar_; }
    Pasteboard& pasteboard() override { return pasteboard_; }
    Workspace& workspace() override { return workspace_; }

  private:
    void keepLauncher();
    void takeStrayLauncherAway();

    // Destroyed from the last to the first: what calls back goes before what is called.
    const std::string applicationId_;
    const XdgFolders folders_;
    StderrLog log_;
    WindowHost windows_;
    std::optional<std::string> trouble_;
    ActivationTokens tokens_;
    const ApplicationFolders applicationFolders_;
    SystemClock clock_;
    IcuNumberFormatter numberFormatter_;
    GlibMainQueue mainQueue_;
    LocalNotificationCenter notificationCenter_;
    ThreadPoolQueues backgroundQueues_;
    PosixFileSystem fileSystem_;
    PosixFolderTree folderTree_;
    PosixPrivateFiles privateFiles_;
    LinuxHost host_;
    PosixLoopbackPorts loopbackPorts_;
    SodiumRandomSource randomSource_;
    KeyFileDefaults userDefaults_;
    FolderBundle bundle_;
    AutostartLoginService loginService_;
    PosixCommandRunner commandRunner_;
    PosixChildLauncher childLauncher_;
    CurlHttpClient httpClient_;
    LinuxApplication application_;
    RemoteAlerts alerts_;
    RemoteMenuBar menuBar_;
    RemotePasteboard pasteboard_;
    LinuxWorkspace workspace_;
    RemoteWebWindows webWindows_;
    CurlHttpClient updateHttp_; // so that a download holds nothing else up
    RemoteUpdateUi updateUi_;
    DesktopNotifications updateNotice_;
    DesktopNotifications copyNotice_;
    appcast::AppcastFramework updateFramework_;
};

} // namespace platform::desktop
