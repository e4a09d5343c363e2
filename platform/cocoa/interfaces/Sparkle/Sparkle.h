// What Zorvane uses of Sparkle 2. Nothing links against the framework: its classes are looked up
// by name once it has been loaded, and the protocols are met by their selectors.
#ifndef ZORVANE_INTERFACE_SPARKLE
#define ZORVANE_INTERFACE_SPARKLE

#import <Foundation/Foundation.h>

@class SPUUpdater, SPUUserUpdateState, SUAppcastItem;

@protocol SPUUpdaterDelegate <NSObject>
@optional
- (void)updaterWillRelaunchApplication:(nonnull SPUUpdater*)updater;
@end

@protocol SPUStandardUserDriverDelegate <NSObject>
@optional
@property(nonatomic, readonly) BOOL supportsGentleScheduledUpdateReminders;
- (BOOL)standardUserDriverShouldHandleShowingScheduledUpdate:(nonnull SUAppcastItem*)update
                                         andInImmediateFocus:(BOOL)immediateFocus;
- (void)standardUserDriverWillHandleShowingUpdate:(BOOL)handleShowingUpdate
                                        forUpdate:(nonnull SUAppcastItem*)update
                                            state:(nonnull SPUUserUpdateState*)state;
@end

@interface SPUUpdater : NSObject
- (void)checkForUpdatesInBackground;
@property(nonatomic) BOOL automaticallyChecksForUpdates;
@property(nonatomic) BOOL automaticallyDownloadsUpdates;
@end

@interface SPUStandardUpdaterController : NSObject
- (nonnull instancetype)
    initWithStartingUpdater:(BOOL)startUpdater
            updaterDelegate:(nullable id<SPUUpdaterDelegate>)updaterDelegate
         userDriverDelegate:(nullable id<SPUStandardUserDriverDelegate>)userDriverDelegate;
@property(nonatomic, readonly, nonnull) SPUUpdater* updater;
- (void)checkForUpdates:(nullable id)sender;
@end

#endif
