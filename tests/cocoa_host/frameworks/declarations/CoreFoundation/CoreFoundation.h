// Beside what the application uses: a run loop that the tests turn themselves.
#pragma once

#include_next <CoreFoundation/CoreFoundation.h>

extern "C" {
typedef SInt32 CFRunLoopRunResult;
extern const CFRunLoopMode kCFRunLoopDefaultMode;
CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, double seconds,
                                      Boolean returnAfterSourceHandled);
}
