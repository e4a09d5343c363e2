#include "tests/cocoa_host/frameworks/doubles/Volume.h"

#include <dlfcn.h>
#include <sys/statvfs.h>

namespace cocoa_host {

std::optional<std::uint64_t>& spaceLeft() {
    static std::optional<std::uint64_t> left;
    return left;
}

} // namespace cocoa_host

// Found before the C library's.
extern "C" int statvfs(const char* path, struct statvfs* found) noexcept {
    using Statvfs = int (*)(const char*, struct statvfs*);
    static const auto real = reinterpret_cast<Statvfs>(::dlsym(RTLD_NEXT, "statvfs"));
    const int status = real(path, found);
    if (const auto left = cocoa_host::spaceLeft(); left && status == 0) {
        found->f_frsize = 1;
        found->f_bavail = *left;
    }
    return status;
}
