// What Zorvane uses of the Security framework.
#ifndef ZORVANE_INTERFACE_SECURITY
#define ZORVANE_INTERFACE_SECURITY

#include <MacTypes.h>
#include <os/availability.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma clang assume_nonnull begin

enum {
    errSecSuccess = 0,
};

typedef const struct __SecRandom* SecRandomRef;

extern const SecRandomRef kSecRandomDefault API_AVAILABLE(macos(10.7));

// errSecSuccess, or another value when the generator failed.
int SecRandomCopyBytes(SecRandomRef _Nullable rnd, size_t count, void* bytes)
    __attribute__((warn_unused_result)) API_AVAILABLE(macos(10.7));

#pragma clang assume_nonnull end

#ifdef __cplusplus
}
#endif

#endif
