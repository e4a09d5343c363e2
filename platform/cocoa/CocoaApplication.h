// The application object: NSApplication, whose delegate passes everything on. What the system says
// arrives in these terms:
//   SIGTERM, SIGINT, SIGHUP                   terminate() with the event 'aevt' 'quit', why? 'logo'
//   Dock, session end, another application    applicationShouldTerminate with the Apple event
//   a click on the icon, a second opening     applicationShouldHandleReopen
//
// AppKit ends a terminated application with exit(): run() does not return then, objects on the
// stack of main() are not destroyed, and applicationWillTerminate, called exactly once, is the
// last word. The signals are taken over when launching has finished; before that nothing is
// running yet, and they end the process as they always do. They arrive while an alert is up too,
// even one that a task of the main queue shows. A quit that comes while the delegate thinks about
// another one is cancelled.
//
// One instance a user: LaunchServices reopens the running one when the same bundle is opened again;
// of two copies, or executables that are started by their path, the second finds the lock of the
// first in the folder of private data, asks it to reopen, says so, and run() returns. Main thread
// only.
#pragma once

#include "platform/Application.h"
#include "platform/Log.h"
#include "platform/cocoa/RequireArc.h"
#include "platform/posix/InstanceLock.h"
#include "platform/posix/InstanceWatch.h"

#import <AppKit/AppKit.h>

#include <dispatch/dispatch.h>

#include <filesystem>
#include <optional>
#include <vector>

@class ZorvaneApplicationDelegate;

namespace platform::cocoa {

class CocoaApplication final : public Application {
  public:
    // Without a folder of private data nothing keeps a second instance away.
    CocoaApplication();
    CocoaApplication(const std::filesystem::path& privateFolder, Log& log);
    ~CocoaApplication() override;
    CocoaApplication(const CocoaApplication&) = delete;
    CocoaApplication& operator=(const CocoaApplication&) = delete;

    int run(ApplicationDelegate& delegate) override;
    // Sparkle starts the new version when the old one has ended.
    [[nodiscard]] bool takeOver() override { return true; }
    void terminate() override;
    void activateIgnoringOtherApps() override;
    void setActivationPolicy(ActivationPolicy policy) override;
    [[nodiscard]] std::optional<SystemEvent> currentEvent() const override;

    // For the delegate object: what AppKit asked it.
    void didFinishLaunching();
    void willTerminate();
    void signalArrived();
    void reopenRequested();
    [[nodiscard]] bool shouldTerminate();
    [[nodiscard]] bool shouldHandleReopen(bool hasVisibleWindows);
    [[nodiscard]] bool shouldTerminateAfterLastWindowClosed();

  private:
    enum class Stage { idle, running, ended };

    // Nothing when this process is the instance, else what it has to exit with.
    [[nodiscard]] std::optional<int> exitStatusOfASecondInstance();
    void answerSecondInstances();
    void watchSignals();

    NSApplication* toolkit_;
    ZorvaneApplicationDelegate* observer_;
    ApplicationDelegate* delegate_ = nullptr;
    Stage stage_ = Stage::idle;
    bool asking_ = false;
    std::optional<SystemEvent> signalEvent_;
    std::vector<dispatch_source_t> signalSources_;
    Log* log_ = nullptr;
    std::filesystem::path privateFolder_;
    std::optional<posix::InstanceLock> instance_;
    std::optional<posix::InstanceWatch> instanceWatch_;
};

} // namespace platform::cocoa
