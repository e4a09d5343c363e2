#include "platform/cocoa/CocoaApplication.h"

#include "platform/cocoa/CocoaWorkspace.h"
#include "platform/cocoa/FourCharacters.h"

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>

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
// An instance on its way out may have to wait for what it runs.
constexpr std::chrono::seconds handOverPatience{20};

// From a thread that may not touch the application: by way of the run loop and not of the main
// queue, which rests as long as one of its own tasks shows an alert.
void onMainThread(ZorvaneApplicationDelegate* observer, void (CocoaApplication::*call)()) {
    CFRunLoopPerformBlock(CFRunLoopGetMain(), kCFRunLoopCommonModes, ^{
      if (observer.application != nullptr) {
          (observer.application->*call)();
      }
    });
    CFRunLoopWakeUp(CFRunLoopGetMain());
}

// For the log, and for who started it in a terminal.
void say(Log& log, const std::string& sentence) {
    log.write(sentence);
    fmt::print(stderr, "{}\n", sentence);
}

// Why this process ends at once.
void sayGoodbye(Log& log, const std::filesystem::path& privateFolder, std::string_view why) {
    say(log, fmt::format("{} is running already, {}", privateFolder.filename().native(), why));
}

constexpr SystemEvent sessionQuit{.eventClass = fourCharacters("aevt"),
                                  .eventId = fourCharacters("quit"),
                                  .why = fourCharacters("logo")};

} // namespace

CocoaApplication::CocoaApplication()
    : toolkit_(NSApplication.sharedApplication),
      observer_([[ZorvaneApplicationDelegate alloc] init]) {
    observer_.application = this;
}

CocoaApplication::CocoaApplication(const std::filesystem::path& privateFolder, Log& log)
    : CocoaApplication() {
    log_ = &log;
    privateFolder_ = privateFolder;
    instance_.emplace(privateFolder);
}

CocoaApplication::~CocoaApplication() {
    for (const dispatch_source_t& source : signalSources_) {
        dispatch_source_cancel(source);
    }
    observer_.application = nullptr;
}

int CocoaApplication::run(ApplicationDelegate& delegate) {
    if (const auto status = exitStatusOfASecondInstance()) {
        return *status;
    }
    delegate_ = &delegate;
    toolkit_.delegate = observer_;
    [toolkit_ run];
    return 0;
}

std::optional<int> CocoaApplication::exitStatusOfASecondInstance() {
    if (!instance_) {
        return std::nullopt;
    }
    const bool followsAnother = std::getenv(newInstanceVariable) != nullptr;
    ::unsetenv(newInstanceVariable);
    if (followsAnother) {
        instance_->waitForHolder(handOverPatience);
    }
    switch (instance_->claim("", handOverPatience)) {
    case posix::InstanceLock::Outcome::handedOver:
        sayGoodbye(*log_, privateFolder_, "and has been asked to show itself");
        return 0;
    case posix::InstanceLock::Outcome::elsewhere: // not said to an instance without a place
    case posix::InstanceLock::Outcome::unreachable:
        sayGoodbye(*log_, privateFolder_, "but does not answer");
        return 1;
    case posix::InstanceLock::Outcome::unavailable:
        break; // better two than none
    case posix::InstanceLock::Outcome::held:
        ZorvaneApplicationDelegate* const observer = observer_;
        if (instance_->listen([observer](const std::string&) {
                onMainThread(observer, &CocoaApplication::reopenRequested);
            })) {
            answerSecondInstances();
        }
    }
    if (instance_->failure()) {
        log_->write(*instance_->failure());
    }
    return std::nullopt;
}

void CocoaApplication::answerSecondInstances() {
    try {
        instanceWatch_.emplace(*instance_);
    } catch (const std::system_error& error) {
        say(*log_, fmt::format("a second instance is not answered: {}", error.what()));
    }
}

void CocoaApplication::didFinishLaunching() {
    if (stage_ == Stage::idle) {
        stage_ = Stage::running;
        watchSignals();
        delegate_->applicationDidFinishLaunching();
    }
}

// A signal is ignored only once its source is in place: until then it ends the process, which
// would otherwise miss it.
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
          onMainThread(observer, &CocoaApplication::signalArrived);
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
        // From here on a second instance waits until this one has gone.
        instanceWatch_.reset();
        if (instance_) {
            instance_->stopListening();
        }
        delegate_->applicationWillTerminate();
    }
}

void CocoaApplication::reopenRequested() {
    @autoreleasepool {
        bool visible = false;
        NSArray<NSWindow*>* const windows = toolkit_.windows;
        for (NSUInteger index = 0; index < windows.count; ++index) {
            // The status item has a window as well, which cannot be the main one.
            visible = visible || (windows[index].visible && windows[index].canBecomeMainWindow);
        }
        if (shouldHandleReopen(visible)) {
            activateIgnoringOtherApps();
        }
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
        // Written as an enumeration by some senders and as a type by others; each reads as 0 when
        // it is the other.
        described.why = why.enumCodeValue != 0 ? why.enumCodeValue : why.typeCodeValue;
    }
    return described;
}

} // namespace platform::cocoa
