// The unified log, for compilers whose Darwin headers come without it. The functions are
// libSystem's. os_log() has the compiler lay out the arguments (clang's __builtin_os_log_format)
// and puts the format string where the log's readers look for it.
#ifndef ZORVANE_INTERFACE_OS_LOG
#define ZORVANE_INTERFACE_OS_LOG

#include <os/availability.h>
#include <os/base.h>
#include <os/object.h>
#include <stdbool.h>
#include <stdint.h>

OS_ASSUME_NONNULL_BEGIN

#if OS_OBJECT_USE_OBJC
OS_OBJECT_DECL(os_log);
#else
typedef struct os_log_s* os_log_t;
#endif

__BEGIN_DECLS

OS_ENUM(os_log_type, uint8_t, OS_LOG_TYPE_DEFAULT = 0x00, OS_LOG_TYPE_INFO = 0x01,
        OS_LOG_TYPE_DEBUG = 0x02, OS_LOG_TYPE_ERROR = 0x10, OS_LOG_TYPE_FAULT = 0x11, );

extern struct mach_header __dso_handle;

OS_EXPORT OS_NOTHROW OS_WARN_RESULT OS_OBJECT_RETURNS_RETAINED os_log_t
os_log_create(const char* subsystem, const char* category) API_AVAILABLE(macos(10.12));

OS_EXPORT OS_NOTHROW OS_WARN_RESULT bool os_log_type_enabled(os_log_t oslog, os_log_type_t type)
    API_AVAILABLE(macos(10.12));

OS_EXPORT OS_NOTHROW void _os_log_impl(void* dso, os_log_t log, os_log_type_t type,
                                       const char* format, uint8_t* buf, uint32_t size)
    API_AVAILABLE(macos(10.12));

__END_DECLS

#define os_log_with_type(log, type, format, ...)                                                   \
    __extension__({                                                                                \
        os_log_t _log_tmp = (log);                                                                 \
        os_log_type_t _type_tmp = (type);                                                          \
        if (os_log_type_enabled(_log_tmp, _type_tmp)) {                                            \
            __attribute__((section("__TEXT,__oslogstring,cstring_literals"), internal_linkage,     \
                           used)) static const char _os_fmt_str[] = format;                        \
            __attribute__((aligned(16))) uint8_t                                                   \
                _os_fmt_buf[__builtin_os_log_format_buffer_size(format, ##__VA_ARGS__)];           \
            _os_log_impl(                                                                          \
                &__dso_handle, _log_tmp, _type_tmp, _os_fmt_str,                                   \
                (uint8_t*)__builtin_os_log_format(_os_fmt_buf, format, ##__VA_ARGS__),             \
                (uint32_t)sizeof(_os_fmt_buf));                                                    \
        }                                                                                          \
    })

#define os_log(log, format, ...) os_log_with_type(log, OS_LOG_TYPE_DEFAULT, format, ##__VA_ARGS__)

OS_ASSUME_NONNULL_END

#endif
