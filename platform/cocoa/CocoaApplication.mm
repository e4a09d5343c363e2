#include "platform/cocoa/CocoaApplication.h"

#include "platform/cocoa/FourCharacters.h"

#include <array>
#include <csignal>

@interface ZorvaneApplicationDelegate : NSObject <NSApplicationDelegate>
// Not owned; null once the application object is gone.
@property (nonatomic, assign) platform::cocoa::CocoaApplication* application;
@end

@implementation ZorvaneApplicationDelegate

- (void)applicationDidFinishLaunching:(NSNotification*)__unused notification {
    if (self.application != nullptr) {
        self.application->didFinishLaunching();
    }
}

- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)__unused sender {
    const bool agreed = self.application == nullptr || self.application->shouldTerminate();
    return agreed ? NSTerminateNow : NSTerminateCancel;
}

- (void)applicationWillTerminate:(NSNotification*)__unused notification {
    if (self.application != nullptr) {
        self.application->willTerminate();
    }
}

- (BOOL)applicationShouldHandleReopen:(NSApplication*)__unused sender
                    hasVisibleWindows:(BOOL)hasVisibleWindows {
    return self.application != nullptr && self.application->shouldHandleReopen(hasVisibleWindows);
}

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)__unused sender {
    return self.application != nullptr && self.application->shouldTerminateAfterLastWindowClosed();
}

// Saved window state is archived by class-checked coding only.
- (BOOL)applicationSupportsSecureRestorableState:(NSApplication*)__unused app {
    return YES;
}

@end

namespace platform::cocoa {
namespace {

constexpr std::array terminationSignals = {SIGTERM, SIGINT, SIGHUP};

constexpr SystemEvent sessionQuit{.eventClass = fourCharacters("aevt"),
                                  .eventId = fourCharacters("quit"),
                                  .why = fourCharacters("logo")};

} // namespace

CocoaApplication::CocoaApplication()
    : toolkit_(NSApplication.sharedApplication),
      observer_([[ZorvaneApplicationDelegate alloc] init]) {
    observer_.application = this;
}

CocoaApplication::~CocoaApplication() {
    for (const dispatch_source_t& source : signalSources_) {
        dispatch_source_cancel(source);
    }
    observer_.application = nullptr;
}

int CocoaApplication::run(ApplicationDelegate& delegate) {
    delegate_ = &delegate;
    toolkit_.delegate = observer_;
    [toolkit_ run];
    return 0;
}

void CocoaApplication::didFinishLaunching() {
    if (stage_ == Stage::idle) {
        stage_ = Stage::running;
        watchSignals();
        delegate_->applicationDidFinishLaunching();
    }
}

// A signal is ignored only once its source is in place: until then it ends the process, which
// would otherwise miss it. It comes by way of the run loop and not of the main queue, which rests
// as long as one of its own tasks shows an alert.
void CocoaApplication::watchSignals() {
    ZorvaneApplicationDelegate* const observer = observer_;
    for (const int number : terminationSignals) {
        const dispatch_source_t source =
            dispatch_source_create(DISPATCH_SOURCE_TYPE_SIGNAL, static_cast<uintptr_t>(number), 0,
                                   dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0));
        dispatch_source_set_registration_handler(source, ^{
          std::signal(number, SIG_IGN);
        });
        dispatch_source_set_event_handler(source, ^{
          CFRunLoopPerformBlock(CFRunLoopGetMain(), kCFRunLoopCommonModes, ^{
            if (observer.application != nullptr) {
                observer.application->signalArrived();
            }
          });
          CFRunLoopWakeUp(CFRunLoopGetMain());
        });
        dispatch_activate(source);
        signalSources_.push_back(source);
    }
}

void CocoaApplication::signalArrived() {
    signalEvent_ = sessionQuit;
    terminate();
    signalEvent_.reset();
}

void CocoaApplication::terminate() {
    if (stage_ == Stage::running && !asking_) {
        [toolkit_ terminate:nil];
    }
}

bool CocoaApplication::shouldTerminate() {
    if (stage_ != Stage::running) {
        return true; // not launched yet, or ending already
    }
    if (asking_) {
        return false;
    }
    asking_ = true;
    const TerminateReply reply = delegate_->applicationShouldTerminate();
    asking_ = false;
    return reply == TerminateReply::now;
}

void CocoaApplication::willTerminate() {
    if (stage_ == Stage::running) {
        stage_ = Stage::ended;
        delegate_->applicationWillTerminate();
    }
}

bool CocoaApplication::shouldHandleReopen(bool hasVisibleWindows) {
    return stage_ == Stage::running && delegate_->applicationShouldHandleReopen(hasVisibleWindows);
}

bool CocoaApplication::shouldTerminateAfterLastWindowClosed() {
    return stage_ == Stage::running && delegate_->applicationShouldTerminateAfterLastWindowClosed();
}

void CocoaApplication::activateIgnoringOtherApps() { [toolkit_ activateIgnoringOtherApps:YES]; }

void CocoaApplication::setActivationPolicy(ActivationPolicy policy) {
    [toolkit_ setActivationPolicy:policy == ActivationPolicy::regular
                                      ? NSApplicationActivationPolicyRegular
                                      : NSApplicationActivationPolicyAccessory];
}

std::optional<SystemEvent> CocoaApplication::currentEvent() const {
    if (signalEvent_) {
        return signalEvent_;
    }
    NSAppleEventDescriptor* const event =
        NSAppleEventManager.sharedAppleEventManager.currentAppleEvent;
    if (event == nil) {
        return std::nullopt;
    }
    SystemEvent described{.eventClass = event.eventClass, .eventId = event.eventID, .why = {}};
    NSAppleEventDescriptor* const why =
        [event attributeDescriptorForKeyword:fourCharacters("why?")];
    if (why != nil) {
        described.why = why.enumCodeValue;
    }
    return described;
}

} // namespace platform::cocoa
