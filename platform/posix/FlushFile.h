// Hands what was written to a file, or the names in a folder, to the storage itself: fsync(2) on
// Linux; on macOS F_FULLFSYNC, and fsync(2) only where the file system does not know that. One
// attempt: after a failure the kernel may have dropped the data and call a second one a success,
// so the answer is final for that descriptor. Any thread.
#pragma once

namespace platform::posix {

// 0 or errno, EINTR included.
[[nodiscard]] int flushFile(int descriptor) noexcept;

} // namespace platform::posix
