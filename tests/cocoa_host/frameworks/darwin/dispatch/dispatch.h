// The part of libdispatch that the application uses; doubles/Dispatch.mm has the functions.
// https://developer.apple.com/documentation/dispatch
#pragma once

#import <objc/NSObject.h>
#include <stdint.h>

@protocol OS_dispatch_object <NSObject>
@end
@protocol OS_dispatch_queue <OS_dispatch_object>
@end
@protocol OS_dispatch_source <OS_dispatch_object>
@end

typedef NSObject<OS_dispatch_object>* dispatch_object_t;
typedef NSObject<OS_dispatch_queue>* dispatch_queue_t;
typedef NSObject<OS_dispatch_source>* dispatch_source_t;
typedef NSObject* dispatch_queue_attr_t;
typedef const struct dispatch_source_type_s* dispatch_source_type_t;
typedef void (^dispatch_block_t)(void);
typedef void (*dispatch_function_t)(void*);
typedef uint64_t dispatch_time_t;
typedef unsigned qos_class_t;

#define QOS_CLASS_USER_INITIATED 0x19u
#define QOS_CLASS_UTILITY 0x11u
#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_QUEUE_SERIAL ((dispatch_queue_attr_t)nil)
#define DISPATCH_SOURCE_TYPE_SIGNAL (&_dispatch_source_type_signal)
#define DISPATCH_RETURNS_RETAINED __attribute__((ns_returns_retained))

extern "C" {

struct dispatch_source_type_s {
    int unused;
};
extern const struct dispatch_source_type_s _dispatch_source_type_signal;

dispatch_queue_t dispatch_get_main_queue(void);
dispatch_queue_t dispatch_get_global_queue(intptr_t identifier, uintptr_t flags);
dispatch_queue_attr_t dispatch_queue_attr_make_with_qos_class(dispatch_queue_attr_t attributes,
                                                              qos_class_t qos, int priority);
DISPATCH_RETURNS_RETAINED dispatch_queue_t dispatch_queue_create(const char* label,
                                                                 dispatch_queue_attr_t attributes);
void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work);
dispatch_time_t dispatch_time(dispatch_time_t when, int64_t nanoseconds);
void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                      dispatch_function_t work);

DISPATCH_RETURNS_RETAINED dispatch_source_t dispatch_source_create(dispatch_source_type_t type,
                                                                   uintptr_t handle, uintptr_t mask,
                                                                   dispatch_queue_t queue);
void dispatch_source_set_registration_handler(dispatch_source_t source, dispatch_block_t handler);
void dispatch_source_set_event_handler(dispatch_source_t source, dispatch_block_t handler);
void dispatch_source_cancel(dispatch_source_t source);
void dispatch_activate(dispatch_object_t object);
}
