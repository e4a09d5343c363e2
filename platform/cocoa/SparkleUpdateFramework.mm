#include "platform/cocoa/SparkleUpdateFramework.h"

#include "platform/cocoa/SparkleDelegate.h"
#include "platform/cocoa/Text.h"

#include <string>

namespace platform::cocoa {
namespace {

class SparkleController final : public UpdateController {
  public:
    SparkleController(Class controllerClass, UpdateDelegate& delegate) {
        delegate_.owner = &delegate;
        controller_ = [[controllerClass alloc] initWithStartingUpdater:YES
                                                       updaterDelegate:delegate_
                                                    userDriverDelegate:delegate_];
    }
    ~SparkleController() override { delegate_.owner = nullptr; }
    SparkleController(const SparkleController&) = delete;
    SparkleController& operator=(const SparkleController&) = delete;

    void checkForUpdates() override {
        @autoreleasepool {
            [controller_ checkForUpdates:nil];
        }
    }
    void checkForUpdatesInBackground() override {
        @autoreleasepool {
            [controller_.updater checkForUpdatesInBackground];
        }
    }
    void setAutomaticallyChecksForUpdates(bool automatically) override {
        controller_.updater.automaticallyChecksForUpdates = automatically;
    }
    void setAutomaticallyDownloadsUpdates(bool automatically) override {
        controller_.updater.automaticallyDownloadsUpdates = automatically;
    }

  private:
    ZorvaneSparkleDelegate* delegate_ = [[ZorvaneSparkleDelegate alloc] init];
    SPUStandardUpdaterController* controller_ = nil;
};

// Nil, with the reason in the log, when the framework is not there or cannot be loaded.
Class loadControllerClass(NSBundle* bundle, Log& log) {
    NSURL* const folder =
        [bundle.privateFrameworksURL URLByAppendingPathComponent:@"Sparkle.framework"
                                                     isDirectory:YES];
    NSBundle* const framework = folder == nil ? nil : [NSBundle bundleWithURL:folder];
    if (framework == nil) {
        log.write("no updates: the bundle has no Sparkle.framework");
        return nil;
    }
    NSError* error = nil;
    if (![framework loadAndReturnError:&error]) {
        log.write("no updates: Sparkle.framework cannot be loaded: " +
                  fromFoundation(error.localizedDescription).value_or("no reason given"));
        return nil;
    }
    const Class found = NSClassFromString(@"SPUStandardUpdaterController");
    if (found == nil) {
        log.write("no updates: Sparkle.framework is not version 2");
    }
    return found;
}

} // namespace

SparkleUpdateFramework::SparkleUpdateFramework(NSBundle* bundle, Log& log)
    : bundle_(bundle), log_(log) {}

std::unique_ptr<UpdateController>
SparkleUpdateFramework::makeStandardController(UpdateDelegate& delegate) {
    @autoreleasepool {
        const Class controllerClass = loadControllerClass(bundle_, log_);
        return controllerClass == nil
                   ? nullptr
                   : std::make_unique<SparkleController>(controllerClass, delegate);
    }
}

} // namespace platform::cocoa
