#include "platform/cocoa/SparkleDelegate.h"

@implementation ZorvaneSparkleDelegate

// The framework calls its delegate and posts nothing: what platform/UpdateFramework.h promises is
// posted here. The quit that follows carries no reason.
- (void)updaterWillRelaunchApplication:(SPUUpdater*)__unused updater {
    [NSNotificationCenter.defaultCenter
        postNotificationName:@"SPUUpdaterWillRelaunchApplicationNotification"
                      object:nil];
}

- (BOOL)supportsGentleScheduledUpdateReminders {
    return self.owner != nullptr && self.owner->supportsGentleScheduledUpdateReminders();
}

- (BOOL)standardUserDriverShouldHandleShowingScheduledUpdate:(SUAppcastItem*)__unused update
                                         andInImmediateFocus:(BOOL)immediateFocus {
    return self.owner == nullptr || self.owner->shouldHandleShowingScheduledUpdate(immediateFocus);
}

- (void)standardUserDriverWillHandleShowingUpdate:(BOOL)handleShowingUpdate
                                        forUpdate:(SUAppcastItem*)__unused update
                                            state:(SPUUserUpdateState*)__unused state {
    if (self.owner != nullptr) {
        self.owner->willHandleShowingUpdate(handleShowingUpdate);
    }
}

@end
