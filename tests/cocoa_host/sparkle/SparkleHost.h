// Sparkle 2 as its documentation has it: a controller that keeps its delegates weakly and asks
// them. The framework is found by its classes' names only, so this is a protocol. "host" is for
// tests. https://sparkle-project.org/documentation/
#pragma once

#import <Foundation/Foundation.h>

@protocol HostSparkle
@property (nonatomic, readonly) BOOL hostStarted;
@property (nonatomic, readonly) id hostUpdaterDelegate;
@property (nonatomic, readonly) id hostUserDriverDelegate;
@property (nonatomic, readonly) NSUInteger hostUserChecks;
@property (nonatomic, readonly) NSUInteger hostBackgroundChecks;
@property (nonatomic, readonly) BOOL hostChecksAutomatically;
@property (nonatomic, readonly) BOOL hostDownloadsAutomatically;
// A scheduled check has found an update: whether the standard user driver shows it itself.
- (BOOL)hostFindUpdateInImmediateFocus:(BOOL)focus;
@end

namespace cocoa_host {

// The newest controller that is still there.
[[nodiscard]] inline id<HostSparkle> sparkle() {
    return [static_cast<id>(NSClassFromString(@"SPUStandardUpdaterController"))
        performSelector:@selector(hostLatest)];
}

} // namespace cocoa_host
