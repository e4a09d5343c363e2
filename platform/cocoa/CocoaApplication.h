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
// One instance a user is LaunchServices' rule for what is opened as a bundle: opening it again
// reopens the running one. An executable that is started directly, by its path, is not held back.
// Main thread only.
#pragma once

#include "platform/Application.h"
#include "platform/cocoa/RequireArc.h"

#import <AppKit/AppKit.h>

#include <dispatch/dispatch.h>

#include <vector>

@class ZorvaneApplicationDelegate;

namespace platform::cocoa {

class CocoaApplication final : public Application {
  public:
    CocoaApplication();
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
    [[nodiscard]] bool shouldTerminate();
    [[nodiscard]] bool shouldHandleReopen(bool hasVisibleWindows);
    [[nodiscard]] bool shouldTerminateAfterLastWindowClosed();

  private:
    enum class Stage { idle, running, ended };

    void watchSignals();

    NSApplication* toolkit_;
    ZorvaneApplicationDelegate* observer_;
    ApplicationDelegate* delegate_ = nullptr;
    Stage stage_ = Stage::idle;
    bool asking_ = false;
    std::optional<SystemEvent> signalEvent_;
    std::vector<dispatch_source_t> signalSources_;
};

} // namespace platform::cocoa
