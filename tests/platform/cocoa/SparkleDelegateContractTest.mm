// What the object that Sparkle asks does by itself: Sparkle calls it before a relaunch and posts
// nothing, so it posts what the rest of the application observes.
#include "platform/cocoa/SparkleDelegate.h"

#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

namespace {

TEST(SparkleDelegate, tellsOfARelaunchBeforeItReturns) {
    __block int told = 0;
    const id<NSObject> observer = [NSNotificationCenter.defaultCenter
        addObserverForName:@"SPUUpdaterWillRelaunchApplicationNotification"
                    object:nil
                     queue:nil
                usingBlock:^(NSNotification*) {
                  ++told;
                }];
    ZorvaneSparkleDelegate* const delegate = [[ZorvaneSparkleDelegate alloc] init];
    ASSERT_TRUE([delegate respondsToSelector:@selector(updaterWillRelaunchApplication:)]);
    const id updater = [[NSObject alloc] init]; // not looked at
    [delegate updaterWillRelaunchApplication:updater];
    [NSNotificationCenter.defaultCenter removeObserver:observer];
    EXPECT_EQ(told, 1);
}

} // namespace
