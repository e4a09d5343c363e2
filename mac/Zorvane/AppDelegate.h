// Owns every long-lived object of the application and decides the order of a launch, what the
// status menu does, and what a quit means: the keyboard, the Dock and the window only hide the
// window, and the server keeps running until the menu's own quit, an updater's relaunch, or the
// system's log out, restart or shut down. Created by main(), kept until the process ends; main
// thread only. The facilities outlive it.
#pragma once

#include "mac/OstraCore/AccountLink.h"
#include "mac/Tessel/Application/AppPresence.h"
#include "mac/Zorvane/LaunchSteps.h"
#include "mac/Zorvane/LibrarySummaryCache.h"
#include "mac/Zorvane/MainWindow.h"
#include "mac/Zorvane/ServerSupervisor.h"
#include "mac/Zorvane/StatusMenu.h"
#include "platform/Application.h"
#include "platform/Environment.h"
#include "platform/LoginService.h"
#include "platform/NotificationCenter.h"
#include "platform/NumberFormatter.h"
#include "platform/Pasteboard.h"
#include "platform/StatusItem.h"
#include "platform/Workspace.h"

#include <memory>
#include <string>
#include <string_view>

namespace zorvane {

class AppDelegate final : public platform::ApplicationDelegate,
                          public std::enable_shared_from_this<AppDelegate> {
  public:
    static constexpr std::string_view appName = "Zorvane";
    static constexpr std::string_view loginItemAppliedKey = "OstraLoginItemDefaultApplied";
    static constexpr std::string_view devSkipMoveKey = "OSTRA_DEV_NO_MOVE";

    struct Facilities {
        platform::Application& application;
        platform::NotificationCenter& notifications;
        platform::WebWindowFactory& windows;
        platform::StatusBar& statusBar;
        platform::MenuBar& menuBar;
        platform::Pasteboard& pasteboard;
        platform::Workspace& workspace;
        platform::LoginService& loginService;
        platform::NumberFormatter& numbers;
        ServerSupervisor::Facilities supervisor;
    };

    // The environment is the process's own.
    [[nodiscard]] static std::shared_ptr<AppDelegate>
    create(const Facilities& facilities, platform::Environment environment, LaunchSteps steps);

    void applicationDidFinishLaunching() override;
    platform::TerminateReply applicationShouldTerminate() override;
    // Blocks until the server has exited or been killed.
    void applicationWillTerminate() override;
    bool applicationShouldHandleReopen(bool hasVisibleWindows) override;
    bool applicationShouldTerminateAfterLastWindowClosed() override { return false; }

    // Fills the status menu, and asks for whatever in it is no longer fresh.
    void populateStatusMenu(platform::Menu& menu);

    // The status menu's actions.
    void openOstraWindow();
    void openWebApp();
    void copyServerURL();
    void restartServer();
    void linkServer();
    void reopenApproval();
    void copyLinkCode();
    void openAccountPage();
    void toggleLoginItem();
    void checkForUpdates();
    // The menu's own quit: really ends the application, and the server with it.
    void quitApp();

    [[nodiscard]] ServerSupervisor& supervisor() { return *supervisor_; }
    [[nodiscard]] MainWindowController& mainWindow() { return mainWindow_; }

  private:
    AppDelegate(const Facilities& facilities, platform::Environment environment, LaunchSteps steps);

    void installPresence();
    void observeUpdaterRelaunch();
    void serverStateChanged(const ServerSupervisor::State& state);

    [[nodiscard]] std::optional<ostra::Url> serverURL() const;
    [[nodiscard]] StatusMenuContents menuContents() const;
    [[nodiscard]] platform::Menu drawn(const std::vector<StatusMenuEntry>& entries);
    void perform(StatusMenuAction action);
    // What is known has changed: the tool tip and trays' copies of the menu follow.
    void showStatus();
    void refreshAccountStatus();
    void linkStarted(const ostra::LinkStart& start);

    Facilities facilities_;
    platform::Environment environment_;
    LaunchSteps steps_;
    bool allowFullQuit_ = false; // only ever becomes true
    std::unique_ptr<UpdateChecker> updater_;
    std::unique_ptr<tessel::AppPresence> presence_;
    std::optional<ostra::AccountStatus> accountStatus_;
    std::shared_ptr<ServerSupervisor> supervisor_;
    std::shared_ptr<LibrarySummaryCache> library_;
    MainWindowController mainWindow_;
};

} // namespace zorvane
