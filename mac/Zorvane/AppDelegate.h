// Owns every long-lived object of the application and decides the order of a launch and what a
// quit means: the keyboard, the Dock and the window only hide the window, and the server keeps
// running until the menu's own quit, an updater's relaunch, or the system's log out, restart or
// shut down. Created by main(), kept until the process ends; main thread only. The facilities
// outlive it.
#pragma once

#include "mac/Tessel/AppPresence.h"
#include "mac/Zorvane/LaunchSteps.h"
#include "mac/Zorvane/MainWindow.h"
#include "mac/Zorvane/ServerSupervisor.h"
#include "platform/Application.h"
#include "platform/Environment.h"
#include "platform/NotificationCenter.h"

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
        platform::Clock& clock;
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

    // The menu's own quit: really ends the application, and the server with it.
    void quitApp();

    [[nodiscard]] ServerSupervisor& supervisor() { return *supervisor_; }
    [[nodiscard]] MainWindowController& mainWindow() { return mainWindow_; }

  private:
    AppDelegate(const Facilities& facilities, platform::Environment environment, LaunchSteps steps);

    void installPresence();
    void observeUpdaterRelaunch();
    void serverStateChanged(const ServerSupervisor::State& state);

    Facilities facilities_;
    platform::Environment environment_;
    LaunchSteps steps_;
    bool allowFullQuit_ = false; // only ever becomes true
    std::unique_ptr<UpdateChecker> updater_;
    std::unique_ptr<tessel::AppPresence> presence_;
    std::shared_ptr<ServerSupervisor> supervisor_;
    MainWindowController mainWindow_;
};

} // namespace zorvane
