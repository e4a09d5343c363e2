// Included by every header of this folder: memory of Objective-C objects is counted by the
// compiler here, and a file built without that would leak or release too early. A pool for
// temporary objects is opened by whatever may be called on a thread that has none.
#pragma once

#if !__has_feature(objc_arc)
#error "platform/cocoa is built with automatic reference counting (-fobjc-arc)"
#endif
