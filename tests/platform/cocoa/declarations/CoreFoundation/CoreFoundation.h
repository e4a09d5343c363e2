// Beside what the application uses of CoreFoundation, what these tests do. For the build without a
// Mac only.
#ifndef ZORVANE_TEST_DECLARATIONS_COREFOUNDATION
#define ZORVANE_TEST_DECLARATIONS_COREFOUNDATION

#include_next <CoreFoundation/CoreFoundation.h>

extern "C" {

extern const CFRunLoopMode kCFRunLoopDefaultMode;

typedef double CFTimeInterval;
typedef SInt32 CFRunLoopRunResult;

CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                      Boolean returnAfterSourceHandled);
}

#endif
