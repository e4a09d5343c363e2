// The object that Sparkle asks, as its updater's and as its standard user interface's delegate; it
// passes the questions on. Sparkle keeps only weak references to it.
#pragma once

#include "platform/UpdateFramework.h"
#include "platform/cocoa/RequireArc.h"
#include "platform/cocoa/interfaces/Sparkle/Sparkle.h"

@interface ZorvaneSparkleDelegate : NSObject <SPUUpdaterDelegate, SPUStandardUserDriverDelegate>
// Not owned; null once the controller is gone.
@property (nonatomic, assign) platform::UpdateDelegate* owner;
@end
