// What <os/log.h> is written with.
#pragma once

#define OS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define OS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#define OS_ENUM(_name, _type, ...) typedef enum : _type { __VA_ARGS__ } _name##_t
#define OS_EXPORT extern
#define OS_NOTHROW
#define OS_WARN_RESULT __attribute__((warn_unused_result))
#define OS_OBJECT_RETURNS_RETAINED __attribute__((ns_returns_retained))
#define __BEGIN_DECLS extern "C" {
#define __END_DECLS }
