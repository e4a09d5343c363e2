// Objects of the operating system are Objective-C objects.
#pragma once

#import <objc/NSObject.h>

#define OS_OBJECT_USE_OBJC 1
#define OS_OBJECT_DECL(name)                                                                       \
    @protocol OS_                                                                                  \
    ##name<NSObject> @end                                                                          \
    typedef NSObject<OS_##name>* name##_t
