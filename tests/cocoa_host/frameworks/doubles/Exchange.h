// Gives a GNUstep class another method in the place of one of its own. The new one stands in a
// category under a name with "host_" before it, by which the old one can be called from then on.
#pragma once

#import <Foundation/Foundation.h>

namespace cocoa_host {

void exchange(NSString* className, SEL original, SEL replacement);

} // namespace cocoa_host
