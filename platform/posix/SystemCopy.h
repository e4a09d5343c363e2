// The parts of copying folders for which POSIX has no words: each system's own way to exchange two
// names, to copy what a file holds, and to say when it was changed. Errors are errno values, 0 is
// success. Any thread.
#pragma once

#include <sys/stat.h>

#include <ctime>

namespace platform::posix {

// Exchanges what two existing names stand for, in one step. EINVAL, ENOSYS or ENOTSUP: this file
// system cannot.
[[nodiscard]] int exchangeNames(const char* one, const char* other);

// Copies the content of one open file to another, empty one; on macOS the extended attributes and
// the access control list too.
[[nodiscard]] int copyContent(int from, int to);

[[nodiscard]] timespec modificationTime(const struct stat& status);

} // namespace platform::posix
