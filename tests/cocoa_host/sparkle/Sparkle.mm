#include "platform/cocoa/interfaces/Sparkle/Sparkle.h"
#include "tests/cocoa_host/sparkle/SparkleHost.h"

@interface SUAppcastItem : NSObject
@end
@implementation SUAppcastItem
@end
@interface SPUUserUpdateState : NSObject
@end
@implementation SPUUserUpdateState
@end

@interface SPUUpdater ()
@property (nonatomic) NSUInteger backgroundChecks;
@end
@implementation SPUUpdater
- (void)checkForUpdatesInBackground {
    ++self.backgroundChecks;
}
@end

@interface SPUStandardUpdaterController () <HostSparkle>
@end

static __weak SPUStandardUpdaterController* latest;

@implementation SPUStandardUpdaterController {
    BOOL _started;
    NSUInteger _checks;
    SPUUpdater* _updater;
    __weak id<SPUUpdaterDelegate> _updaterDelegate;
    __weak id<SPUStandardUserDriverDelegate> _userDriverDelegate;
}
+ (id)hostLatest {
    return latest;
}
- (instancetype)initWithStartingUpdater:(BOOL)startUpdater
                        updaterDelegate:(id<SPUUpdaterDelegate>)updaterDelegate
                     userDriverDelegate:(id<SPUStandardUserDriverDelegate>)userDriverDelegate {
    self = [super init];
    _started = startUpdater;
    _updater = [[SPUUpdater alloc] init];
    _updaterDelegate = updaterDelegate;
    _userDriverDelegate = userDriverDelegate;
    latest = self;
    return self;
}
- (SPUUpdater*)updater {
    return _updater;
}
- (void)checkForUpdates:(id)__unused sender {
    ++_checks;
}
- (BOOL)hostStarted {
    return _started;
}
- (id)hostUpdaterDelegate {
    return _updaterDelegate;
}
- (id)hostUserDriverDelegate {
    return _userDriverDelegate;
}
- (NSUInteger)hostUserChecks {
    return _checks;
}
- (NSUInteger)hostBackgroundChecks {
    return _updater.backgroundChecks;
}
- (BOOL)hostChecksAutomatically {
    return _updater.automaticallyChecksForUpdates;
}
- (BOOL)hostDownloadsAutomatically {
    return _updater.automaticallyDownloadsUpdates;
}
// A driver that does not support gentle reminders is not asked.
- (BOOL)hostFindUpdateInImmediateFocus:(BOOL)focus {
    SUAppcastItem* const update = [[SUAppcastItem alloc] init];
    id<SPUStandardUserDriverDelegate> const delegate = _userDriverDelegate;
    BOOL shows = YES;
    if (delegate.supportsGentleScheduledUpdateReminders) {
        shows = [delegate standardUserDriverShouldHandleShowingScheduledUpdate:update
                                                           andInImmediateFocus:focus];
        [delegate standardUserDriverWillHandleShowingUpdate:shows
                                                  forUpdate:update
                                                      state:[[SPUUserUpdateState alloc] init]];
    }
    return shows;
}
@end
